#!/usr/bin/env bash
# Builds the benchmarks (optimised, no sanitizers) and runs them: bench/run.sh [NAME [ARGS...]]
# with NAME one of bench/bench_*.cpp without the extension; no NAME runs them all.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
scripts/install-deps.sh cmake ninja-build g++ zlib1g-dev libdeflate-dev libbenchmark-dev $(cat bench/packages.txt 2>/dev/null)
cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELLMARK_BUILD_TESTS=OFF -DVELLMARK_BUILD_BENCH=ON >/dev/null
cmake --build build/bench
if [ $# -gt 0 ]; then
  name=$1; shift
  exec "build/bench/bench/$name" "$@"
fi
for b in build/bench/bench/bench_*; do "$b"; done
