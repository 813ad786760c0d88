#!/usr/bin/env bash
# Every kind of .glb the program writes passes the Khronos glTF validator without errors: the
# game's objects made by `mesh` from each real .x file and by `model` from each glTF model,
# turned back by `gltf`. The validator (npm package gltf-validator) is installed into
# VALIDATOR_DIR under the build folder when missing; no npm or no registry is a failure.
#   validator_test.sh VELLMARK SOURCE_DIR VALIDATOR_DIR
set -euo pipefail
vellmark=$1 source=$2 validator=$3
if [ ! -f "$validator/node_modules/gltf-validator/package.json" ]; then
  command -v npm >/dev/null || { echo "npm is needed for the glTF validator (test.sh installs it)"; exit 1; }
  npm install --prefix "$validator" --no-audit --no-fund --loglevel=error gltf-validator@2.0.0-dev.3.10
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
n=0
for x in "$source"/tests/data/xfiles/*/*.[xX]; do
  n=$((n + 1))
  # Textures the .x names may be missing (mesh then fails after writing the .XYZ).
  # Textures the .x names may be missing (mesh then fails after writing the .XYZ), and the
  # made files include some that do not load.
  "$vellmark" -q mesh "$x" "$work/mesh$n" >/dev/null 2>&1 || true
  for xyz in "$work/mesh$n"/*.XYZ; do
    [ -f "$xyz" ] || continue
    "$vellmark" -q gltf --no-textures "$xyz" "$work/x$n.glb" >/dev/null
    "$vellmark" -q gltf "$xyz" "${xyz%.XYZ}.MAP" "$work/x${n}_textured.glb" >/dev/null
  done
done
for g in "$source"/tests/data/gltf/*.gl*; do
  n=$((n + 1))
  "$vellmark" -q model "$g" "$work/model$n" >/dev/null 2>&1
  "$vellmark" -q gltf "$(ls "$work/model$n"/*.XYZ)" "$work/model$n.glb" >/dev/null
done
GLTF_VALIDATOR_DIR=$validator node "$source/tests/gltf/validate_glb.js" "$work"/*.glb
