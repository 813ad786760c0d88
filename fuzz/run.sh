#!/usr/bin/env bash
# Builds the fuzz targets with clang, libFuzzer, ASan and UBSan, and runs one:
#   fuzz/run.sh TARGET SECONDS      (TARGET as in fuzz/fuzz_TARGET.cpp)
# New inputs go to build/fuzz/corpus-TARGET (seeded from fuzz/corpus/TARGET), crashes to
# build/fuzz/artifacts/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
target=$1
seconds=${2:-60}
scripts/install-deps.sh cmake ninja-build clang libclang-rt-dev zlib1g-dev libdeflate-dev libcli11-dev libstb-dev libtinygltf-dev nlohmann-json3-dev
CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVELLMARK_BUILD_TESTS=OFF -DVELLMARK_BUILD_FUZZ=ON -DVELLMARK_SANITIZE=ON >/dev/null
cmake --build build/fuzz --target "fuzz_$target"
corpus="build/fuzz/corpus-$target"
mkdir -p "$corpus" build/fuzz/artifacts
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
"build/fuzz/fuzz/fuzz_$target" "$corpus" "fuzz/corpus/$target" -max_total_time="$seconds" \
  -artifact_prefix=build/fuzz/artifacts/ -print_final_stats=1 ${FUZZ_ARGS:-}
