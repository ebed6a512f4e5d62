#!/usr/bin/env bash
# The zip for Windows users: unpacked into a folder with a blank and an umlaut in its name, its program restyles a photo and a clip with its
# sound in a Wine that has nothing else, and the DLL works with a program of another project that was built with the zip alone.
#   package.sh BUILD_FOLDER PHOTO
set -euo pipefail
build="$1" photo="$2"
source_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
. "$(dirname "${BASH_SOURCE[0]}")/../support/shell_checks.sh"
export WINEPREFIX="$work/prefix" WINEPATH=

quietly "$source_dir/scripts/zip-windows" "$build" "$work/zip"
(cd "$work/zip" && quietly sha256sum -c SHA256SUMS)
mkdir "$work/a földer"
quietly unzip -q "$work"/zip/*.zip -d "$work/a földer"
cd "$work/a földer"/*/
test -s README.txt && test -s LICENSE && test -s lib/vorin_stt.lib && test -s include/vorin_stt.h
test -s bin/avcodec-59.dll && test -s licenses/libav/README.txt && test -s licenses/libav/GPL-3

cp "$photo" "a photo.png"
expect "software device" "$source_dir/scripts/with-wine" bin/vorin-stylize.exe "a photo.png" -o "a result.png" --style cartoon
[ "$(head -c 8 "a result.png" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || { echo "the result is not a PNG file"; exit 1; }

ffmpeg -v error -f lavfi -i testsrc2=size=64x48:rate=10 -f lavfi -i sine=frequency=440 -t 0.5 -c:v libx264 -c:a aac "a clip.mp4"
quietly "$source_dir/scripts/with-wine" bin/vorin-stylize.exe "a clip.mp4" -o "ä clip.mp4" --style cartoon
expect "video,5" ffprobe -v error -count_frames -select_streams v -show_entries stream=codec_type,nb_read_frames -of csv=p=0 "ä clip.mp4"
sound() { ffmpeg -v error -i "$1" -map 0:a -c copy -f md5 -; }
[ "$(sound "a clip.mp4")" = "$(sound "ä clip.mp4")" ] || { echo "the clip's sound is another"; exit 1; }

status=0
"$source_dir/scripts/with-wine" bin/vorin-stylize.exe "a photo.png" -o "a sketch.png" --style pencil >"$work/said" 2>&1 || status=$?
expect "on Windows it serves the neural styles" cat "$work/said"
[ "$status" -eq 4 ] && [ ! -e "a sketch.png" ] || { echo "the software device without filters: status $status"; exit 1; }
expect "cartoon_model_slim5.xml" "$source_dir/scripts/with-wine" bin/vorin-pack.exe list models/model_st.bin

quietly cmake -S "$source_dir/examples/with_cmake" -B "$work/program" "-DCMAKE_TOOLCHAIN_FILE=$source_dir/cmake/mingw.cmake" \
  "-Dvorin_stt_DIR=$PWD/lib/cmake/vorin_stt" -DCMAKE_EXE_LINKER_FLAGS=-static
quietly cmake --build "$work/program"
cp "$work/program/list_gpus.exe" bin/
expect "vorin_stt 0.5" "$source_dir/scripts/with-wine" bin/list_gpus.exe
"$source_dir/scripts/with-wine" --wait # Wine still writes into the folder that is removed now
