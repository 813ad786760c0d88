#!/usr/bin/env bash
# The cross-built Windows binaries under Wine against the native builds, on the same inputs:
#   wine_stage.sh setup | teardown   the stage's one Wine prefix and virtual display
#   wine_stage.sh GROUP [ZIP]        the cases of GROUP below; package: those of the unzipped ZIP
# Each case must give the same files, boxes, printed lines and exit status, byte for byte, on
# both sides. Paths come from tests/windows/CMakeLists.txt through the environment.
set -euo pipefail
src=$VELLMARK_SOURCE_DIR win_build=$VELLMARK_WINDOWS_BUILD_DIR cli=$VELLMARK_NATIVE_CLI
if ! command -v wine >/dev/null || ! command -v Xvfb >/dev/null; then
  echo "Wine is not installed; to run the Windows tests: scripts/install-wine.sh && ./test.sh"
  exit 77
fi
# No installer prompts for .NET or HTML support in a fresh prefix.
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
no_d3dx="$WINEDLLOVERRIDES;$(seq -s, -f 'd3dx9_%g' 43 -1 24)=d"
state=$WINEPREFIX.display
case $1 in
setup)
  # Every Wine process of the stage, the desktop included, shares one display: a device made
  # by one never waits on an X server that another test has closed.
  mkdir -p "$WINEPREFIX"
  setsid Xvfb -displayfd 3 -nolisten tcp -screen 0 640x480x24 3>"$state" </dev/null >/dev/null 2>&1 &
  echo $! >"$state.pid"
  for _ in $(seq 50); do [ -s "$state" ] && break; sleep 0.1; done
  DISPLAY=:$(cat "$state") && export DISPLAY
  { [ -f "$WINEPREFIX/system.reg" ] || { wineboot -i && wineserver -w; }
    wineserver -p && wine cmd /c exit; } </dev/null >/dev/null 2>&1
  echo "Wine prefix $WINEPREFIX ready on display $DISPLAY: $(wine --version)"
  exit 0 ;;
teardown)
  wineserver -k || true
  kill "$(cat "$state.pid")" 2>/dev/null || true
  rm -f "$state" "$state.pid"
  exit 0 ;;
esac
DISPLAY=:$(cat "$state") && export DISPLAY

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
in=$tmp/in exe=$win_build/vellmark.exe failures=0
winpath() { echo "Z:${1//\//\\}"; }
escape() { sed 's/[]\\.*^$[]/\\&/g' <<<"$1"; }
fail() { echo "FAIL $*"; failures=$((failures + 1)); }
# NAME WHAT NATIVE WINDOWS NATIVE_ROOT WINDOWS_ROOT: the roots and the temporary folder become
# ROOT and TMP in both transcripts, and the native '/' a '\'.
expect_same() {
  diff <(sed -e "s|$(escape "$5")|ROOT|g" -e "s|$(escape "$tmp")|TMP|g" "$3" | tr '/' '\\') \
       <(sed -e "s|$(escape "$(winpath "$6")")|ROOT|g" -e "s|$(escape "$(winpath "$tmp")")|TMP|g" "$4") >"$tmp/diff" ||
    { fail "$1: $2 differ (< native, > Windows)"; cat "$tmp/diff"; }
}

# NAME STATUS [VARIABLE=VALUE...] EXPORT|PROGRAM ARGUMENT...: arguments are written with '/',
# which Windows gets as '\'; "@IN/" is the inputs' folder (Z:\... for Windows); "=NAME" a copy
# of input NAME in the case's own folder, given without a separator. STATUS 2 (the library's
# exception, caught by the Windows host) is 0 for the native host, to which the library returns.
run_case() {
  local name=$1 status=$2 env=() n=$tmp/$1/nat w=$tmp/$1/win nat=() win=() a ns=0 ws=0; shift 2
  while [[ $1 == *=* ]]; do env+=("$1"); shift; done
  mkdir -p "$n/out" "$w/out"
  cp "$VELLMARK_NATIVE_HOST" "$n/" && cp "$win_build/export_host.exe" "$w/"
  for a in "$@"; do
    [[ $a == =* ]] && a=${a#=} && cp "$in/$a" "$n/" && cp "$in/$a" "$w/"
    nat+=("${a/#@IN\//$in/}")
    a=${a/#@IN\//$(winpath "$in")/} && win+=("${a//\//\\}")
  done
  if [ "$1" = PROGRAM ]; then
    nat=("$cli" "${nat[@]:1}") win=("$(winpath "$exe")" "${win[@]:1}")
  else
    nat=(./export_host "$VELLMARK_NATIVE_LIBRARY" "${nat[@]}") win=(export_host.exe "$(winpath "$win_build/Vellmark.dll")" "${win[@]}")
  fi
  # The textured cube names its textures by absolute Windows paths: the DLL's host answers
  # the dialog with the bundled files, and on Linux the names are plain file names.
  [ "$1" = OpenDirectX ] && for t in "$src"/tests/data/xfiles/assimp/*.tga; do
    cp "$t" "$n/C:\\\\code\\\\sourceforge\\\\kwxport\\\\trunkMerged\\\\test\\\\data\\\\$(basename "$t")"
  done
  (cd "$n" && "${nat[@]}") >"$n.out" 2>"$n.err" || ns=$?
  (cd "$w" && env "${env[@]}" VELLMARK_HOST_DIALOG_DIR="$(winpath "$src/tests/data/xfiles/assimp")" wine "${win[@]}") \
    >"$w.out" 2>"$w.err" || ws=$?
  [ "$ns" = "$((status == 2 ? 0 : status))" ] && [ "$ws" = "$status" ] ||
    { fail "$name: exit $ns (native), $ws (Windows), expected $status"; cat "$w.err"; }
  # The program writes its console in text mode, CR LF on Windows; the host in binary mode.
  [ "$1" = PROGRAM ] && sed -i 's/\r$//' "$w.out" "$w.err"
  grep -v '^dialog: ' "$w.out" >"$w.kept" || true
  expect_same "$name" boxes "$n.err" "$w.err" "$n" "$w"
  expect_same "$name" "printed lines" "$n.out" "$w.kept" "$n" "$w"
  diff -r -x 'export_host*' -x 'C:*' "$n" "$w" >"$tmp/diff" || { fail "$name: files differ"; cat "$tmp/diff"; }
  echo "ran $name: $(find "$w" -type f ! -name 'export_host*' | wc -l) files, $(grep -c '^dialog: ' "$w.out") dialogs"
}

mkdir -p "$in/course"
corpus=$src/fuzz/corpus
for f in "$src"/tests/data/sky/*.gz; do gunzip -c "$f" >"$in/$(basename "$f" .gz)"; done
cp "$corpus"/btc2tga/*.btc "$corpus"/xpr/*.xpr "$corpus"/panorama_stream/* "$src"/samples/sample_course.arc \
  "$src"/tests/data/textures/*.tga "$in/"
cp -r "$src/tests/data/xfiles" "$in/x"
head -c 300 "$in/dxt1_mips.xpr" >"$in/truncated.xpr"
"$cli" tga2btc "$in/ship_hull_wood_256x256_rgb24.tga" "$in/wood.btc" >/dev/null
"$cli" extract "$in/sample_course.arc" "$in/course/" 2>/dev/null
"$cli" unpack "$in/course/Panorama.lib" "$in/course" >/dev/null
if [ "$1" = package ]; then
  unzip -q "$2" -d "$tmp/package" && exe=$(echo "$tmp"/package/*/vellmark.exe)
  for f in "$exe" "${exe%/*}/Vellmark.dll"; do
    i686-w64-mingw32-windres -i "$f" -O rc >"$tmp/rc" && grep -q '"ProductName", "Vellmark"' "$tmp/rc" &&
      { [[ $f == *.dll ]] || grep -q 'activeCodePage.*UTF-8' "$tmp/rc"; } || fail "${f##*/}: resources"
  done
fi
# Group "mesh" runs under Wine twice: with Direct3D 9's extension library and with it
# disabled, so that our loader runs; "mesh-portable" only the latter: Wine's own extension
# library refuses tiger.x and orders the faces of BCN_Epileptic.X differently.
# shellcheck disable=SC2086  # the call's words are the arguments
while read -r group name status call; do
  [ "${group%-portable}" = "$1" ] || continue
  [ "$group" = mesh ] && run_case "$name.d3dx" "$status" $call
  if [[ $group == mesh* ]]; then run_case "$name.portable" "$status" WINEDLLOVERRIDES="$no_d3dx" $call
  else run_case "$name" "$status" $call; fi
done <<'CASES'
images btc_wood        0 BTC2TGA ../../in/wood.btc out/wood.tga
images btc_tiles       0 BTC2TGA @IN/four_tiles_32x24.btc out/tiles.tga
images btc_cut         0 BTC2TGA @IN/encoded_40x24.btc out/cut.tga 100
images sky_file        0 CreateSkyFile ../../in/sky_preview_512x35_top.tga @IN/sky_4800x320_top.tga out
images flip            0 FlipTgaFile ../../in/sky_4800x320_bottom.tga
images xpr_argb        0 xpr2tga @IN/argb_tail_user.xpr out/argb
images xpr_cube        0 xpr2tga ../../in/dxt5_cube.xpr out/cube
images xpr_ctx1        0 xpr2tga ../../in/ctx1.xpr out/ctx1
images xpr_mips        0 xpr2tga ../../in/dxt1_mips.xpr out/mips
images xpr_l8          0 xpr2tga ../../in/l8_linear_other.xpr out/l8
course extract         0 ExtractMSCourse @IN/sample_course.arc out/
course extract_cut     0 ExtractMSCourse ../../in/sample_course.arc out/ 40000
course panorama        0 CreatePanorama ../../in/course/Panorama.lib out/
course raw_panorama    0 CreateUncompressedPanorama @IN/course/Panorama.btc out/
course raw_sky         0 CreateUncompressedPanorama ../../in/sky out/
mesh   cube_binary     0 OpenDirectX ../../in/x/assimp/test_cube_binary.x out
mesh   cube_text       0 OpenDirectX @IN/x/assimp/test_cube_text.x out
mesh   cube_mszip      0 OpenDirectX ../../in/x/assimp/test_cube_compressed.x out
mesh   textured_cube   0 OpenDirectX ../../in/x/assimp/kwxport_test_cubewithvcolors.x out
mesh   missing_mesh    1 OpenDirectX ../../in/x/none.x out
mesh-portable frames   0 OpenDirectX ../../in/x/assimp/BCN_Epileptic.X out
mesh-portable bitmap   0 OpenDirectX ../../in/x/directx-sdk-samples/tiger.x out
bad    truncated_xpr   2 xpr2tga ../../in/truncated.xpr out/t
bad    missing_xpr     0 xpr2tga ../../in/none.xpr out/t
bad    missing_input   2 CreateSkyFile ../../in/none.tga @IN/none.tga out
bad    no_separator    2 FlipTgaFile =sky_4800x320_bottom.tga
bad    negative_length 2 BTC2TGA ../../in/wood.btc out/wood.tga -1
bad    too_many_tiles  2 CreateUncompressedPanorama ../../in/tiled_300x260 out/
program extract        0 PROGRAM extract --summary @IN/sample_course.arc out/
program panorama       0 PROGRAM panorama ../../in/course/Panorama.lib out/
program list           0 PROGRAM list @IN/sample_course.arc
program unpack         0 PROGRAM unpack --convert ../../in/sample_course.arc out
program raw_panorama   0 PROGRAM raw-panorama @IN/course/Panorama.btc out
package version        0 PROGRAM --version
package tga2btc        0 PROGRAM tga2btc @IN/scarecrow_128x256_rgba32_bottomup.tga out/scarecrow.btc
package btc2tga        0 PROGRAM btc2tga ../../in/wood.btc out/wood.tga
CASES
[ "$failures" -eq 0 ] || { echo "$failures failed checks"; exit 1; }
echo "all cases agree"
