#!/usr/bin/env bash
# Installs 32-bit Wine and a virtual X server, so that the cross-built Vellmark.dll and
# vellmark.exe can be tested on this Linux machine (ctest's Windows tests skip without them).
#
# On Debian, a plain `apt-get install wine wine32:i386` can fail: the mirror's i386 index of the
# security suite is sometimes behind its amd64 index, and the i386 twins of the amd64 libraries
# installed from it then cannot be matched. So the security suite is read for amd64 only and
# pinned low, and the i386 packages all come from the main suite, at the same versions.
#
# Safe to run again: each step checks first, and a run that finds everything in place changes
# nothing and says so.
set -euo pipefail

packages=(wine wine32:i386 xvfb libgl1-mesa-dri:i386 libglx-mesa0:i386 libgl1:i386)
sources=/etc/apt/sources.list.d/debian.sources
pin=/etc/apt/preferences.d/vellmark-wine-security

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
changed=()

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  $sudo dpkg --add-architecture i386
  changed+=("added the i386 architecture to dpkg")
fi

# deb822 sources: the stanza whose suites include "-security" gets "Architectures: amd64"
# unless it already names its architectures.
if [ -f "$sources" ]; then
  updated=$(awk '
    function flush() {
      if (stanza != "") {
        if (security && !arch) sub(/\n$/, "\nArchitectures: amd64\n", stanza)
        printf "%s", stanza
      }
      stanza = ""; security = 0; arch = 0
    }
    /^[[:space:]]*$/ { flush(); print; next }
    {
      stanza = stanza $0 "\n"
      if ($1 == "Suites:" && $0 ~ /-security/) security = 1
      if ($1 == "Architectures:") arch = 1
    }
    END { flush() }' "$sources")
  if [ "$updated" != "$(cat "$sources")" ]; then
    $sudo cp "$sources" /var/backups/debian.sources.before-wine
    printf '%s\n' "$updated" | $sudo tee "$sources" >/dev/null
    changed+=("limited the security suite in $sources to amd64 (old file kept in /var/backups/debian.sources.before-wine)")
  fi
else
  echo "install-wine: $sources not found; leaving the apt sources as they are" >&2
fi

pin_text="Package: *
Pin: release l=Debian-Security
Pin-Priority: 100"
if [ "$(cat "$pin" 2>/dev/null)" != "$pin_text" ]; then
  printf '%s\n' "$pin_text" | $sudo tee "$pin" >/dev/null
  changed+=("pinned the security suite to priority 100 in $pin")
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#changed[@]} -gt 0 ] || [ ${#missing[@]} -gt 0 ]; then
  $sudo apt-get update -qq
  changed+=("refreshed apt's package lists")
fi
if [ ${#missing[@]} -gt 0 ]; then
  echo "install-wine: installing ${missing[*]} (a few minutes)"
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
  changed+=("installed ${missing[*]}")
fi

if [ ${#changed[@]} -eq 0 ]; then
  echo "install-wine: Wine and Xvfb are already installed; nothing changed"
else
  echo "install-wine: changed:"
  printf '  - %s\n' "${changed[@]}"
fi
command -v wine >/dev/null && echo "install-wine: $(wine --version)"
