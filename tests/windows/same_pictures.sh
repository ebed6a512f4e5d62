#!/usr/bin/env bash
# The programs of both systems draw the same pictures: in every style, no byte differs by more than 1, which is what a rounding of two
# compilers' arithmetic may come to.
#   same_pictures.sh WINDOWS_BUILD NATIVE_BUILD PHOTO
set -euo pipefail
windows="$1" native="$2" photo="$3"
source_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
models="$source_dir/build/models"
[ -e "$models/model_st.bin" ] || { echo "no model package: models/build makes it"; exit 77; }
. "$source_dir/tests/support/shell_checks.sh"

failed=0
for style in pencil stipple lightgrey cartoon transfer; do
  drawing=(--style "$style" --models "$models" --quiet)
  [ "$style" != transfer ] || drawing+=(--style-image "$models/painting.png")
  "$source_dir/scripts/with-softgpu" --build "$native" "$native/vorin-stylize" "$photo" -o "$work/native.png" --overwrite "${drawing[@]}"
  "$source_dir/scripts/with-softgpu" --build "$windows" "$windows/vorin-stylize.exe" "$photo" -o "$work/windows.png" --overwrite "${drawing[@]}"
  difference="$("$source_dir/build/venv/bin/python" "$source_dir/tests/windows/picture_difference.py" "$work/native.png" "$work/windows.png")"
  echo "$style: $difference"
  [ "$difference" -le 1 ] || failed=1
done
exit "$failed"
