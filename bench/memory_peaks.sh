#!/usr/bin/env bash
# Peak memory (maximum resident set) of the archive subcommands on hostile and large
# archives, against their targets:
#   bench/memory_peaks.sh VELLMARK [FOLDER]   (a release build's program; FOLDER for the archives)
# The archives (about 1 GB with what unpack writes) are made by memory_archives.py.
set -euo pipefail
vellmark=$1
work=${2:-$(mktemp -d)}
here=$(cd "$(dirname "$0")" && pwd)
[[ -f $work/big.arc ]] || python3 "$here/memory_archives.py" "$work"
largest=24  # MB, the largest member of big.arc

peak() {  # peak TARGET_MB COMMAND...: prints the peak in MB and whether it is within the target
  local target=$1; shift
  rm -rf "$work/out"
  local kb
  /usr/bin/time -v -o "$work/time.txt" "$vellmark" -q "$@" >/dev/null 2>&1 || true
  kb=$(awk '/Maximum resident/ {print $6}' "$work/time.txt")
  printf '%-44s %7.1f MB  (target %d MB) %s\n' "$*" "$(echo "$kb / 1024" | bc -l)" "$target" \
    "$([[ $((kb / 1024)) -lt $target ]] && echo ok || echo OVER)"
}

peak 64 unpack "$work/garbage.arc" "$work/out"
peak 64 panorama "$work/sky.lib" "$work/out"
peak 16 list "$work/big.arc"
peak $((64 + largest)) unpack "$work/big.arc" "$work/out"
rm -rf "$work/members"
"$vellmark" -q unpack "$work/big.arc" "$work/members" >/dev/null
"$vellmark" list "$work/big.arc" | awk 'NR > 1 && $1 ~ /^[0-9]+$/ { print $2 }' >"$work/order.txt"
peak $((64 + largest)) pack --order "$work/order.txt" "$work/members" "$work/repacked.arc"
cmp -s "$work/big.arc" "$work/repacked.arc" && echo "repacked archive is byte for byte big.arc"
rm -rf "$work/out" "$work/members"
