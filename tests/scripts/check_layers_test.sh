#!/usr/bin/env bash
# The layer check passes on the sources and fails on a copy of them with one include that
# runs back up (a format folder reaching into the tools).
set -euo pipefail
root=$1
python3 "$root/scripts/check_layers.py" "$root"
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
cp -r "$root/src" "$root/include" "$root/cli" "$copy/"
printf '#include "tools/messages.h"\n' >> "$copy/src/btc/btc_codec.h"
if output=$(python3 "$root/scripts/check_layers.py" "$copy"); then
  echo "the check passed a format folder that includes tools/: $output"; exit 1
fi
grep -q "src/btc/btc_codec.h:.*btc must not include tools/messages.h" <<<"$output" || { echo "$output"; exit 1; }
echo "a forbidden include is found: $(grep 'must not' <<<"$output")"
