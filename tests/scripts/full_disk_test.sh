#!/usr/bin/env bash
# On a nearly full disk (a 200 KB tmpfs filled to several levels) every writing subcommand
# leaves under a final name either nothing or the complete file, byte for byte what it
# writes on a roomy disk, and no temporary; a run that reports success wrote everything.
#   full_disk_test.sh VELLMARK REPO_ROOT     (exit 77, a skip, where no tmpfs can be mounted)
set -uo pipefail
vellmark=$1 root=$2
work=$(mktemp -d) && small=$work/small in=$work/in && mkdir -p "$small" "$in" "$work/ref"
trap 'mountpoint -q "$small" && umount "$small"; rm -rf "$work"' EXIT
mount -t tmpfs -o size=200k tmpfs "$small" 2>/dev/null && umount "$small" || { echo "no tmpfs can be mounted here"; exit 77; }

cp "$root/samples/sample_course.arc" "$root/tests/data/xfiles/assimp/test_cube_text.x" "$root/fuzz/corpus/xpr/"*.xpr "$in/"
cp "$root/tests/data/textures/tree_bark_320x240_rgb24_bottomup.tga" "$in/bark.tga"
gunzip -c "$root/tests/data/sky/sky_preview_512x35_top.tga.gz" >"$in/preview.tga"
gunzip -c "$root/tests/data/sky/sky_4800x320_bottom.tga.gz" >"$in/sky.tga"
"$vellmark" -q extract "$in/sample_course.arc" "$in/course" >/dev/null && "$vellmark" -q tga2btc "$in/bark.tga" "$in/bark.btc" || exit 1
commands=(  # @OUT@ is the output folder
  "extract $in/sample_course.arc @OUT@" "unpack --convert $in/sample_course.arc @OUT@"
  "sky-file $in/preview.tga $in/sky.tga @OUT@" "flip-sky -o @OUT@ $in/sky.tga"
  "panorama $in/course/Panorama.lib @OUT@" "mesh $in/test_cube_text.x @OUT@" "btc2tga -o @OUT@ $in/bark.btc"
  "tga2btc -o @OUT@ $in/bark.tga $in/preview.tga" "xpr2tga -o @OUT@ $(echo "$in"/*.xpr)")
faults=0 runs=0
fault() { echo "${commands[i]%% *} with $free KB free: $*"; faults=$((faults + 1)); }
for ((i = 0; i < ${#commands[@]}; i++)); do
  ref=$work/ref/$i out=$small/out
  "$vellmark" -q ${commands[i]//@OUT@/$ref} >/dev/null 2>&1 || { echo "reference run failed: ${commands[i]}"; exit 1; }
  for free in 0 4 16 48 96 160; do
    mount -t tmpfs -o size=200k tmpfs "$small" || exit 1
    head -c $(((200 - free) * 1024)) /dev/zero >"$small/.filler" 2>/dev/null
    "$vellmark" -q ${commands[i]//@OUT@/$out} >/dev/null 2>&1
    status=$? runs=$((runs + 1))  # then: partial files and temporaries, and a success that lost files
    while IFS= read -r -d '' f; do
      rel=${f#"$out"/}
      if [[ $rel == *.part-* ]]; then fault "a temporary is left: $rel"
      elif ! cmp -s "$f" "$ref/$rel"; then fault "$rel has $(stat -c %s "$f") of $(stat -c %s "$ref/$rel") bytes"; fi
    done < <(find "$out" -type f -print0 2>/dev/null)
    while IFS= read -r -d '' f; do
      [[ $status != 0 || -f $out/${f#"$ref"/} ]] || fault "status 0 without ${f#"$ref"/}"
    done < <(find "$ref" -type f -print0)
    umount "$small"
  done
done
echo "$runs runs on a nearly full disk, $faults faults" && [[ $faults == 0 ]]
