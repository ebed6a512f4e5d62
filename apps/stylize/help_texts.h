// help_texts.h: what --help prints below the options: how things work, and examples.
#pragma once

namespace vorin::stylize {

inline constexpr const char* kClipFooter = R"(
Clips keep their sound, subtitles, time stamps, colour tags and rotation. They
are written 8 bits deep, as H.264 unless --codec says otherwise. A pipe carries
Y4M (ffmpeg: -f yuv4mpegpipe) or what --raw names, and no sound; or one image,
of the kind that --to names.

Examples for clips:
  vorin-stylize clip.mp4 -o restyled.mp4 --style cartoon
  vorin-stylize clip.mp4 -o restyled.mp4 --style pencil --steady
  vorin-stylize clip.mkv -o restyled.mkv --style stipple --codec h265 --crf 28
  ffmpeg -i clip.mp4 -f yuv4mpegpipe - |
    vorin-stylize - -o restyled.mp4 --style pencil
)";

inline constexpr const char* kFooter = R"(
Images are PNG, JPEG, WebP or BMP files; TIFF and GIF files are read. 16 bits a
colour become 8, images marked as turned are turned upright. Several inputs or a
folder are restyled into the folder -o, with the same tree of folders; hidden
files are skipped. An input that fails does not stop the others.

lightgrey and cartoon work at the image's size, but at 1920x1080 at most;
transfer works at the size of its network. The library brings the result to the
image's size. lightgrey and cartoon load their network again for each image of
another size.

Data goes to standard output, all else to standard error.

Exit status: 0 all done, 1 some inputs failed, 2 usage, 3 model or
configuration, 4 device, 5 input or output, 130 cancelled.

Examples:
  vorin-stylize photo.jpg -o restyled.png --style pencil
  vorin-stylize photo.jpg -o small.webp --style stipple --size 640x480
  vorin-stylize photo.jpg -o restyled.png --style pencil --device software
  vorin-stylize photo.jpg -o restyled.png --style cartoon --models folder
  vorin-stylize photo.jpg -o restyled.png --style transfer --style-image p.jpg
  vorin-stylize holiday -o restyled --style cartoon --keep-colors --resume
  vorin-stylize holiday/*.jpg -o restyled --style pencil --to png
  vorin-stylize photo.jpg -o looks.png --style transfer --style-image paintings
  vorin-stylize sheet photo.jpg -o sheet.png
  vorin-stylize devices
  vorin-stylize info
  vorin-stylize selftest)";

inline constexpr const char* kJobFooter = R"(
Any number of processes may work on one job, also on other machines if they see
its folder under whatever path. Each can end at any moment; the others, or the
next one, go on. The outputs are the same whoever does what. A unit that fails
is tried three times by all of them together; work, started again, tries it
again, unless with --unit or --skip-failed. join writes what is complete; later
it writes the rest.

Example:
  vorin-stylize job plan clips -o restyled --style cartoon --job work
  vorin-stylize job work work --workers 2
  vorin-stylize job status work
  vorin-stylize job join work)";

inline constexpr const char* kSheetFooter = "\nExample:\n  vorin-stylize sheet harbour.jpg garden.png -o sheet.png";

} // namespace vorin::stylize
