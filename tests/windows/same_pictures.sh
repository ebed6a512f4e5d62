#!/usr/bin/env bash
# The programs of both systems make the same pictures: in every style, no byte differs by more than 1, the rounding of two compilers'
# arithmetic.
#   same_pictures.sh WINDOWS_BUILD NATIVE_BUILD PHOTO
set -euo pipefail
windows="$1" native="$2" photo="$3"
source_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
models="$source_dir/build/models"
python="$source_dir/build/models-venv/bin/python"
[ -e "$models/model_st.bin" ] && [ -x "$python" ] || { echo "no model package: models/build makes it"; exit 77; }
largest_difference="
import sys
from PIL import Image, ImageChops
a, b = map(Image.open, sys.argv[1:])
assert (a.size, a.mode) == (b.size, b.mode), f'{a} and {b}'
print(max(high for low, high in ImageChops.difference(a.convert('RGB'), b.convert('RGB')).getextrema()))
"
. "$source_dir/tests/support/shell_checks.sh"

failed=0
for style in pencil stipple lightgrey cartoon transfer; do
  options=(--style "$style" --models "$models" --quiet)
  [ "$style" != transfer ] || options+=(--style-image "$models/painting.png")
  "$source_dir/scripts/with-softgpu" --build "$native" "$native/vorin-stylize" "$photo" -o "$work/native.png" --overwrite "${options[@]}"
  "$source_dir/scripts/with-softgpu" --build "$windows" "$windows/vorin-stylize.exe" "$photo" -o "$work/windows.png" --overwrite "${options[@]}"
  difference="$("$python" -c "$largest_difference" "$work/native.png" "$work/windows.png")"
  echo "$style: $difference"
  [ "$difference" -le 1 ] || failed=1
done
exit "$failed"
