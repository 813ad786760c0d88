#!/usr/bin/env bash
# Sets up what is missing, builds the vellmark program, and either runs it with the given
# arguments or, with none, runs the main job on the bundled sample data.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
cd "$root"

scripts/install-deps.sh cmake ninja-build g++ zlib1g-dev libdeflate-dev

if [ ! -f build/release/build.ninja ]; then
  cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELLMARK_BUILD_TESTS=OFF >/dev/null
fi
cmake --build build/release --target vellmark >/dev/null
vellmark="$root/build/release/vellmark"

if [ $# -gt 0 ]; then
  exec "$vellmark" "$@"
fi

# Main job: unpack the bundled sample course archive by content, then rebuild the course
# panorama from the "Panorama.lib" the extraction wrote.
work="$root/build/samples"
rm -rf "$work/course" "$work/panorama"
mkdir -p "$work/course" "$work/panorama"
"$vellmark" extract --summary samples/sample_course.arc "$work/course/"
"$vellmark" panorama "$work/course/Panorama.lib" "$work/panorama/"
echo "course members extracted into: $work/course/"
echo "panorama rebuilt from $work/course/Panorama.lib: $work/panorama/Panorama.tga"
