#!/usr/bin/env bash
# Builds everything from nothing and runs every test: the unit and program tests under
# AddressSanitizer and UndefinedBehaviorSanitizer, the check of the cross-built Vellmark.dll
# (exports, ordinals, imports), and, when Wine is installed (scripts/install-wine.sh), the
# cross-built binaries and the Windows package run under Wine against the native ones. Ends
# with ctest's summary.
set -euo pipefail
cd "$(dirname "$0")"

scripts/install-deps.sh cmake ninja-build g++ binutils zlib1g-dev libdeflate-dev libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libstb-dev libtinygltf-dev nlohmann-json3-dev help2man python3 pkgconf \
  g++-mingw-w64-i686 binutils-mingw-w64-i686 mingw-w64-i686-dev libz-mingw-w64-dev zip unzip
# node and npm for the Khronos glTF validator, which the tests install under build/ (npm registry).
command -v npm >/dev/null || scripts/install-deps.sh nodejs npm

jobs=$(nproc)

echo "== cross-building Vellmark.dll and vellmark.exe"
rm -rf build/windows
cmake -S . -B build/windows -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-i686.cmake -DVELLMARK_WERROR=ON >/dev/null
cmake --build build/windows -j "$jobs" --target all vellmark_export_host
package=$(scripts/package-windows.sh build/windows | sed -n 's/^package: //p')

echo "== building the tests with ASan and UBSan"
rm -rf build/test
cmake -S . -B build/test -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELLMARK_SANITIZE=ON -DVELLMARK_WERROR=ON \
  -DVELLMARK_WINDOWS_DLL="$PWD/build/windows/Vellmark.dll" -DVELLMARK_WINDOWS_BUILD_DIR="$PWD/build/windows" \
  -DVELLMARK_WINDOWS_PACKAGE="$PWD/$package" -DVELLMARK_WINEPREFIX="$PWD/build/wineprefix" >/dev/null
cmake --build build/test -j "$jobs"

echo "== running the tests"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
ctest --test-dir build/test --output-on-failure -j "$jobs" || status=$?
if ! command -v wine >/dev/null; then
  echo "note: the Windows tests were skipped: Wine is not installed (install it with scripts/install-wine.sh)"
fi
exit $status
