#!/usr/bin/env bash
# The programs of both systems make the same pictures: in every style, no byte differs by more than 1, the rounding of two compilers'
# arithmetic. And the same clip, with the same sound.
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
largest_difference_of_frames="
import sys
import numpy
a, b = (numpy.fromfile(name, numpy.uint8).astype(int) for name in sys.argv[1:])
print(abs(a - b).max())
"
. "$source_dir/tests/support/shell_checks.sh"

restyle() { # restyle INPUT EXTENSION OPTION...: by both programs
  "$source_dir/scripts/with-softgpu" --build "$native" "$native/vorin-stylize" "$1" -o "$work/native$2" --overwrite --quiet "${@:3}"
  "$source_dir/scripts/with-softgpu" --build "$windows" "$windows/vorin-stylize.exe" "$1" -o "$work/windows$2" --overwrite --quiet "${@:3}"
}

failed=0
for style in pencil stipple lightgrey cartoon transfer; do
  options=(--style "$style" --models "$models")
  [ "$style" != transfer ] || options+=(--style-image "$models/painting.png")
  restyle "$photo" .png "${options[@]}"
  difference="$("$python" -c "$largest_difference" "$work/native.png" "$work/windows.png")"
  echo "$style: $difference"
  [ "$difference" -le 1 ] || failed=1
done

ffmpeg -v error -f lavfi -i testsrc2=s=160x120:r=10:d=1 -f lavfi -i sine=d=1 -pix_fmt yuv420p -c:v libx264 -c:a aac "$work/in.mp4"
restyle "$work/in.mp4" .mkv --style pencil --codec ffv1
for system in native windows; do
  ffmpeg -v error -i "$work/$system.mkv" -f rawvideo "$work/$system.frames"
  ffmpeg -v error -i "$work/$system.mkv" -map 0:a -c copy -f framemd5 - | grep -v '^#' >"$work/$system.sound"
done
cmp "$work/native.sound" "$work/windows.sound" || failed=1
difference="$("$python" -c "$largest_difference_of_frames" "$work/native.frames" "$work/windows.frames")"
echo "clip: $difference"
[ "$difference" -le 1 ] || failed=1
exit "$failed"
