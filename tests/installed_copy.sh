#!/usr/bin/env bash
# An installed copy, moved to another folder: other projects' programs find it, link and run; and its own programs work as a user who may write
# only to a home folder.
#   installed_copy.sh BUILD_FOLDER PHOTO
set -euo pipefail
build="$1" photo="$2"
source_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$(dirname "${BASH_SOURCE[0]}")/support/shell_checks.sh"

quietly cmake --install "$build" --prefix "$work/made"
mv "$work/made" "$work/copy" # nothing may remember where it was made

quietly cmake -S "$source_dir/examples/with_cmake" -B "$work/cmake" "-DCMAKE_PREFIX_PATH=$work/copy"
quietly cmake --build "$work/cmake"
expect "vorin_stt 0.5" "$work/cmake/list_gpus"

quietly cmake -S "$source_dir/examples/restyle_a_clip" -B "$work/clip" "-DCMAKE_PREFIX_PATH=$work/copy"
quietly cmake --build "$work/clip"
ffmpeg -v error -f lavfi -i testsrc2=s=96x64:d=0.4:r=10 -c:v libx264 "$work/in.mp4"
expect "4 frames on software device" env "HOME=$work" XDG_CACHE_HOME= "$work/clip/restyle_a_clip" "$work/in.mp4" "$work/out.mp4"
test -s "$work/out.mp4"

cp -r "$source_dir/examples" "$work/examples"
quietly env "PKG_CONFIG_PATH=$work/copy/lib/pkgconfig" make -C "$work/examples/with_pkg_config"
expect "drew 320 x 180 pixels" "$source_dir/scripts/with-softgpu" --build "$build" "$work/examples/with_pkg_config/restyle_a_frame"

for program in vorin-stylize vorin-pack; do
  expect "Exit status" cat "$work/copy/share/man/man1/$program.1"
  expect ".nf" cat "$work/copy/share/man/man1/$program.1" # an example a line
done
expect ".br" grep -B 1 "^stipple: " "$work/copy/share/man/man1/vorin-stylize.1" # a style a line

mv "$work/copy" "$work/a copy"
mkdir "$work/home"
cp "$photo" "$work/home/photo.png"
as_user=(env "HOME=$work/home" XDG_DATA_HOME= XDG_CACHE_HOME=)
if [ "$(id -u)" -eq 0 ]; then
  chown -R 65534:65534 "$work/home"
  as_user=(setpriv --reuid=65534 --regid=65534 --clear-groups "${as_user[@]}")
fi
chmod -R a-w "$work/a copy"
for style in cartoon pencil; do
  expect "software device" "${as_user[@]}" "$work/a copy/bin/vorin-stylize" "$work/home/photo.png" -o "$work/home/$style.png" \
    --style "$style" --device software
  test -s "$work/home/$style.png"
done
expect "cartoon_model_slim5.xml" "${as_user[@]}" "$work/a copy/bin/vorin-pack" list "$work/a copy/share/vorin-stt/models/model_st.bin"
