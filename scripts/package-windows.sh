#!/usr/bin/env bash
# Makes build/dist/vellmark-VERSION-win32.zip: vellmark.exe, Vellmark.dll, the C header, import
# libraries for MinGW (libVellmark.dll.a) and MSVC (Vellmark.lib), the module-definition file,
# README-Windows.txt and the licences of the package and of what is linked into it.
#   scripts/package-windows.sh [CROSS_BUILD_DIR]   (default build/windows, configured when missing)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh zip cmake ninja-build g++-mingw-w64-i686 binutils-mingw-w64-i686 mingw-w64-i686-dev \
  libz-mingw-w64-dev

build=${1:-build/windows}
if [ ! -f "$build/build.ninja" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-i686.cmake >/dev/null
fi
cmake --build "$build" --target vellmark vellmark_library

version=$(sed -n 's/^project(Vellmark VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=vellmark-$version-win32
stage=build/dist/$name
rm -rf "$stage" "build/dist/$name.zip"
mkdir -p "$stage/include/vellmark" "$stage/lib" "$stage/licenses"

cp "$build/vellmark.exe" "$build/Vellmark.dll" docs/README-Windows.txt "$stage/"
# Debug symbols of the statically linked C++ runtime would be most of each file's size; the
# export table is not a symbol table and stays.
i686-w64-mingw32-strip --strip-unneeded "$stage/vellmark.exe" "$stage/Vellmark.dll"
cp include/vellmark/vellmark.h "$stage/include/vellmark/"
cp "$build/libVellmark.dll.a" src/exports/Vellmark.def "$stage/lib/"
# The exports are cdecl: their import symbols carry the one leading underscore of 32-bit C
# names, which is what dlltool adds by default.
i686-w64-mingw32-dlltool --input-def src/exports/Vellmark.def --dllname Vellmark.dll \
  --output-lib "$stage/lib/Vellmark.lib"

# Both binaries link zlib, the C++ runtime, libgcc and winpthreads statically.
cp samples/LICENSE.md "$stage/licenses/sample-data.md"
cp /usr/share/doc/libz-mingw-w64/copyright "$stage/licenses/zlib.txt"
cp /usr/share/doc/mingw-w64-i686-dev/copyright "$stage/licenses/mingw-w64-runtime-and-winpthreads.txt"
cp /usr/share/doc/gcc-mingw-w64-base/copyright "$stage/licenses/gcc-runtime-libgcc-libstdc++.txt"

# Windows readers expect CRLF in the text files they open with a double click.
for f in "$stage/README-Windows.txt" "$stage"/licenses/*; do sed -i 's/\r*$/\r/' "$f"; done

(cd build/dist && zip -q -r -X "$name.zip" "$name")
echo "package: build/dist/$name.zip"
unzip -l "build/dist/$name.zip" | tail -n +4 | head -n -2 | awk '{print "  " $4 " (" $1 " bytes)"}'
