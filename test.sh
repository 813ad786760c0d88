#!/usr/bin/env bash
# Builds everything from nothing and runs every test: the unit and program tests under
# AddressSanitizer and UndefinedBehaviorSanitizer, and the check of the cross-built
# Vellmark.dll (exports, ordinals, imports). Ends with ctest's summary.
set -euo pipefail
cd "$(dirname "$0")"

scripts/install-deps.sh cmake ninja-build g++ binutils zlib1g-dev libdeflate-dev libgtest-dev libgmock-dev libbenchmark-dev python3 pkgconf \
  g++-mingw-w64-i686 binutils-mingw-w64-i686 mingw-w64-i686-dev libz-mingw-w64-dev

jobs=$(nproc)

echo "== cross-building Vellmark.dll and vellmark.exe"
rm -rf build/windows
cmake -S . -B build/windows -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-i686.cmake -DVELLMARK_WERROR=ON >/dev/null
cmake --build build/windows -j "$jobs"

echo "== building the tests with ASan and UBSan"
rm -rf build/test
cmake -S . -B build/test -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELLMARK_SANITIZE=ON -DVELLMARK_WERROR=ON \
  -DVELLMARK_WINDOWS_DLL="$PWD/build/windows/Vellmark.dll" >/dev/null
cmake --build build/test -j "$jobs"

echo "== running the tests"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build/test --output-on-failure -j "$jobs"
