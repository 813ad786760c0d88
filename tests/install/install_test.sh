#!/usr/bin/env bash
# Installs the build into a temporary prefix, then builds a small C program against it twice:
# through find_package(Vellmark) and through pkg-config, and runs both.
set -euo pipefail
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
for f in bin/vellmark include/vellmark/vellmark.h lib/cmake/Vellmark/VellmarkConfig.cmake lib/pkgconfig/vellmark.pc; do
  [ -e "$work/prefix/$f" ] || find "$work/prefix" -path "*/${f#*/}" | grep -q . || { echo "not installed: $f"; exit 1; }
done
# A sanitized library needs its runtime first; the consumer itself is a plain program.
export ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0
sanitize=$(grep -q 'VELLMARK_SANITIZE:BOOL=ON' "$build/CMakeCache.txt" && echo "-fsanitize=address,undefined" || true)
expected="Invalid BTC File: Sorry unable to process btc file"

cmake -S "$source" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_C_FLAGS="$sanitize" >/dev/null
cmake --build "$work/consumer" >/dev/null
out=$(cd "$work" && "$work/consumer/consumer" 2>&1)
[ "$out" = "$expected" ] || { echo "find_package consumer printed: $out"; exit 1; }

pc=$(find "$work/prefix" -name vellmark.pc)
flags=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs vellmark)
cc $sanitize "$source/consumer.c" $flags -o "$work/pc-consumer"
libdir=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --variable=libdir vellmark)
out=$(cd "$work" && LD_LIBRARY_PATH="$libdir" "$work/pc-consumer" 2>&1)
[ "$out" = "$expected" ] || { echo "pkg-config consumer printed: $out"; exit 1; }
[ ! -e "$work/never-written.tga" ]
echo "installed into a prefix; find_package and pkg-config consumers built and ran"
