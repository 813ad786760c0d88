#!/usr/bin/env bash
# Mutation run: applies each small fault of scripts/mutants.txt to the sources, one at a time,
# rebuilds, runs the unit and program tests (vellmark_tests, stopping at the first failure), and
# counts the faults the tests find ("killed"). A fault that does not build is counted apart; the
# source is always put back.
#   scripts/mutants.sh [--check] [--list FILE] [--build DIR] [--only PATTERN] [--root CHECKOUT]
# --check only verifies that every fault's code is found exactly once. The build is a plain
# Debug build without sanitizers in build/mutants unless --build says otherwise; --root runs
# the list against another checkout (an older suite, say).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
list="$root/scripts/mutants.txt"
build=""
check=0
only=""
while [ $# -gt 0 ]; do
  case $1 in
    --check) check=1 ;;
    --list) list=$(realpath "$2"); shift ;;
    --build) build=$(realpath -m "$2"); shift ;;
    --only) only=$2; shift ;;
    --root) root=$(realpath "$2"); shift ;;
    *) echo "usage: $0 [--check] [--list FILE] [--build DIR] [--only PATTERN] [--root CHECKOUT]" >&2; exit 2 ;;
  esac
  shift
done
cd "$root"
[ -n "$build" ] || build="$root/build/mutants"

targets="vellmark_tests"
# vellmark_tests depends on the program and the library it runs; they sit beside it, and
# FlipTgaFile writes below it.
suite() { (cd "$build/tests" && ./vellmark_tests --gtest_fail_fast --gtest_brief=1 >"$build/.suite.log" 2>&1); }

# mutate FIND|APPLY LINE apply|find prints the file it changed (or found) for one fault.
mutate() {
  python3 - "$1" "$2" <<'PY'
import pathlib, sys
action, line = sys.argv[1], sys.argv[2]
def unescape(s):
    out, i = [], 0
    while i < len(s):
        if s[i] == '\\' and i + 1 < len(s):
            out.append({'n': '\n', 't': '\t', '\\': '\\'}.get(s[i + 1], '\\' + s[i + 1])); i += 2
        else:
            out.append(s[i]); i += 1
    return ''.join(out)
folder, what, code, mutated = line.split('\t')
code, mutated = unescape(code), unescape(mutated)
hits = [(p, p.read_text().count(code)) for p in sorted(pathlib.Path('src').rglob('*'))
        if p.suffix in ('.h', '.cpp') and code in p.read_text()]
if len(hits) != 1 or hits[0][1] != 1:
    where = ', '.join(f'{p} ({n}x)' for p, n in hits) or 'nowhere'
    print(f'not applicable: found {where}'); sys.exit(3)
path = hits[0][0]
if action == 'apply':
    path.write_text(path.read_text().replace(code, mutated))
print(path)
PY
}

if [ "$check" = 0 ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELLMARK_BUILD_TESTS=ON >/dev/null
  cmake --build "$build" --target $targets >/dev/null
  suite >/dev/null || { echo "the unmutated suite fails: fix that first" >&2; exit 1; }
fi

# An interrupted run must not leave a fault in the sources.
applied=""
trap '[ -n "$applied" ] && cp "$build/.original" "$applied"' EXIT

total=0 killed=0 survived=0 broken=0 missing=0
declare -A folderTotal folderKilled
while IFS= read -r line; do
  case $line in ''|'#'*) continue ;; esac
  [ -n "$only" ] && ! grep -q -- "$only" <<<"$line" && continue
  folder=${line%%$'\t'*}
  rest=${line#*$'\t'}
  what=${rest%%$'\t'*}
  total=$((total + 1))
  folderTotal[$folder]=$(( ${folderTotal[$folder]:-0} + 1 ))
  if ! file=$(mutate find "$line"); then
    echo "MISSING   [$folder] $what: $file"; missing=$((missing + 1)); continue
  fi
  [ "$check" = 1 ] && { echo "found     [$folder] $what: $file"; continue; }
  cp "$file" "$build/.original"
  applied=$file
  mutate apply "$line" >/dev/null
  if ! cmake --build "$build" --target $targets >/dev/null 2>&1; then
    verdict="NO BUILD "; broken=$((broken + 1))
  elif suite; then
    verdict="SURVIVED "; survived=$((survived + 1))
  else
    verdict="killed   "; killed=$((killed + 1))
    folderKilled[$folder]=$(( ${folderKilled[$folder]:-0} + 1 ))
  fi
  cp "$build/.original" "$file"
  applied=""
  touch "$file"
  echo "$verdict [$folder] $what ($file)"
done < "$list"
[ "$check" = 0 ] && cmake --build "$build" --target $targets >/dev/null

for f in "${!folderTotal[@]}"; do echo "  $f: ${folderKilled[$f]:-0} of ${folderTotal[$f]} killed"; done | sort
echo "mutants: $total, killed: $killed, survived: $survived, did not build: $broken, not applicable: $missing"
[ "$missing" = 0 ]
