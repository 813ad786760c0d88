#!/usr/bin/env bash
# Checks a cross-built Vellmark.dll: its export table holds exactly the exports of the
# module-definition file, at the game's ordinals, undecorated; and it imports nothing but
# Windows system DLLs (no MinGW runtime, no zlib DLL beside it).
set -euo pipefail
dll=$1
def=$2
objdump=${OBJDUMP:-i686-w64-mingw32-objdump}

declare -A ordinal_of=([BTC2TGA]=1 [CreatePanorama]=2 [CreateSkyFile]=3 [CreateUncompressedPanorama]=4
                       [FlipTgaFile]=5 [OpenDirectX]=6 [xpr2tga]=7 [ExtractMSCourse]=8)
allowed_imports='^(kernel32|user32|comdlg32|gdi32|advapi32|msvcrt|shell32|ole32)\.dll$'

dump=$("$objdump" -p "$dll")
base=$(sed -n 's/^Export Address Table -- Ordinal Base \([0-9]*\).*/\1/p' <<<"$dump")
actual=$(awk -v base="$base" '
  /^\[Ordinal\/Name Pointer\] Table/ {t=1; next}
  t && /^\s*$/ {t=0}
  t { gsub(/[\[\]]/, " "); print $2, $1 + base }' <<<"$dump" | sort)
expected=$(awk '/^[[:space:]]+[A-Za-z0-9_]+[[:space:]]+@[0-9]+/ {sub("@", "", $2); print $1, $2}' "$def" | sort)

status=0
while read -r name ord; do
  [ -z "$name" ] && continue
  if [ "${ordinal_of[$name]:-}" != "$ord" ]; then
    echo "check_dll: $name is at ordinal $ord in $def, the game expects ${ordinal_of[$name]:-none}"; status=1
  fi
done <<<"$expected"
if [ "$actual" != "$expected" ]; then
  echo "check_dll: export table differs from $def"
  diff <(echo "$expected") <(echo "$actual") || true
  status=1
fi
while read -r dll_name; do
  lower=$(tr 'A-Z' 'a-z' <<<"$dll_name")
  if ! grep -Eq "$allowed_imports" <<<"$lower"; then
    echo "check_dll: imports $dll_name, which is not a Windows system DLL"; status=1
  fi
done < <(sed -n 's/^\s*DLL Name: //p' <<<"$dump")

if [ $status -eq 0 ]; then
  echo "check_dll: $(wc -l <<<"$actual") exports at their ordinals; imports: $(sed -n 's/^\s*DLL Name: //p' <<<"$dump" | tr '\n' ' ')"
fi
exit $status
