#!/usr/bin/env bash
# Sets up what is missing, builds the vellmark program, and either runs it with the given
# arguments (relative paths are the caller's) or, with none, walks through what a modder does
# with a course archive, on the bundled sample.
set -euo pipefail
caller=$(pwd)
root=$(cd "$(dirname "$0")" && pwd)
cd "$root"

scripts/install-deps.sh cmake ninja-build g++ zlib1g-dev libdeflate-dev libcli11-dev libstb-dev libtinygltf-dev nlohmann-json3-dev

if [ ! -f build/release/build.ninja ]; then
  cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELLMARK_BUILD_TESTS=OFF >/dev/null
fi
cmake --build build/release --target vellmark >/dev/null
vellmark="$root/build/release/vellmark"

if [ $# -gt 0 ]; then
  cd "$caller"
  exec "$vellmark" "$@"
fi

# Main job: look into the sample course, unpack it with its textures as TGA, rebuild its
# panorama, and pack the members back into an archive identical to the original.
archive=samples/sample_course.arc
work="$root/build/samples"
rm -rf "$work"
mkdir -p "$work"

echo "== 1. the course archive's directory"
"$vellmark" list "$archive"

echo
echo "== 2. every member under its own name, BTC textures also as TGA, vertex lists as text"
"$vellmark" unpack --convert "$archive" "$work/course"

echo
echo "== 3. the panorama image from the bare panorama stream the archive holds"
"$vellmark" raw-panorama "$work/course/Panorama.btc" "$work/panorama"

echo
echo "== 4. the members packed back, in the directory's order"
"$vellmark" list "$archive" | awk 'NR > 1 && $1 ~ /^[0-9]+$/ { print $2 }' >"$work/order.txt"
"$vellmark" pack --order "$work/order.txt" "$work/course" "$work/repacked.arc"
cmp "$archive" "$work/repacked.arc"
echo "repacked archive is byte for byte the original"

echo
echo "members (and their .tga / .txt conversions): $work/course/"
echo "panorama image:                              $work/panorama/Panorama.tga"
echo "member order used for packing:               $work/order.txt"
echo "repacked archive:                            $work/repacked.arc"
