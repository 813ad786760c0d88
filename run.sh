#!/usr/bin/env bash
# Sets up what is missing, builds the vellmark program, and either runs it with the given
# arguments or, with none, runs the main job on the bundled sample data.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
cd "$root"

scripts/install-deps.sh cmake ninja-build g++ zlib1g-dev libdeflate-dev gzip

if [ ! -f build/release/build.ninja ]; then
  cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELLMARK_BUILD_TESTS=OFF >/dev/null
fi
cmake --build build/release --target vellmark >/dev/null
vellmark="$root/build/release/vellmark"

if [ $# -gt 0 ]; then
  exec "$vellmark" "$@"
fi

# Main job: re-orient the bundled bottom-row-first sky image.
work="$root/build/samples"
mkdir -p "$work"
gzip -dc samples/sky_4800x320_bottom.tga.gz > "$work/kloppenheim.tga"
"$vellmark" flip-sky "$work/kloppenheim.tga"
echo "sky image re-oriented: $root/build/release/skies/kloppenheim.prvtga"
