#include "option_table.h"

#include "clip_command.h"
#include "device_choice.h"
#include "frame_conversion.h"
#include "image_file.h"
#include "name_table.h"
#include "picture_size.h"
#include "progress.h"
#include "software_device.h"

#include <algorithm>
#include <string_view>

namespace vorin::stylize {
namespace {

constexpr const char* kPictureSection = "The drawing";
constexpr const char* kLookSection = "The look";
constexpr const char* kManySection = "Many photos";
constexpr const char* kNeuralSection = "The neural styles";
constexpr const char* kDeviceSection = "The device";

std::string styleHelp() {
  std::string help = "How to draw:";
  for (const Style& style : styles()) {
    help += "\n  " + std::string(style.name) + ": " + std::string(style.summary);
  }
  return help;
}

std::string clipExtensionsHelp() {
  const std::string clips = clipExtensions();
  return clips.empty() ? "" : ";\na clip: " + clips + "; - for a pipe";
}

} // namespace

const char* const kOtherSection = "Other options";

const char* const kFooter = R"(
Photos are PNG, JPEG, WebP or BMP files. Transparency is dropped, 16 bits a
colour become 8, photos marked as turned are turned upright. Several photos, a
folder, or a pattern in quotes (* ? [a-z], ** for folders at any depth) are
drawn into the folder -o, which gets the same tree of folders; hidden files are
left out. A photo that fails does not stop the others.

lightgrey and cartoon work at the photo's size, but at 1920x1080 at most;
transfer works at the size of its network. The library brings the drawing to the
photo's size. A network is loaded anew for each photo of another size, and by
transfer for each photo.

Data goes to standard output, all else to standard error.

Exit status: 0 all done, 1 some inputs failed, 2 usage, 3 model or
configuration, 4 device, 5 input or output, 130 cancelled.

Examples:
  vorin-stylize photo.jpg -o drawing.png --style pencil
  vorin-stylize photo.jpg -o small.webp --style stipple --size 640x480
  vorin-stylize photo.jpg -o drawing.png --style pencil --device software
  vorin-stylize photo.jpg -o drawing.png --style cartoon --models folder
  vorin-stylize photo.jpg -o drawing.png --style transfer --style-image p.jpg
  vorin-stylize holiday -o drawn --style cartoon --keep-colors --resume
  vorin-stylize 'holiday/**/*.jpg' -o drawn --style pencil --to png
  vorin-stylize photo.jpg -o looks.png --style transfer --style-image paintings
  vorin-stylize sheet photo.jpg -o sheet.png
  vorin-stylize devices
  vorin-stylize info
  vorin-stylize selftest
  vorin-stylize completion bash > ~/.bash_completion.d/vorin-stylize)";

const char* const kSheetFooter = "\nExample:\n  vorin-stylize sheet harbour.jpg garden.png -o sheet.png";

const Style& transferStyle() {
  return *std::find_if(styles().begin(), styles().end(), [](const Style& style) { return style.takesStyleImage(); });
}

namespace {

// Without their dots.
std::vector<std::string> pictureKinds() {
  std::vector<std::string> kinds;
  for (const std::string& extension : pictureExtensionList()) {
    kinds.push_back(extension.substr(1));
  }
  return kinds;
}

std::vector<OptionRow> drawingRows() {
  return {
      {"-o,--output", &RawArguments::output, "FILE",
       "The file to write; its extension says which kind:\n" + pictureExtensions() + clipExtensionsHelp() +
           ".\nFor many photos the folder, made if needed",
       kForDrawing, kPictureSection},
      {"--style", &RawArguments::style, "NAME", styleHelp(), kForStylize, kPictureSection, namesOf(styles())},
      {"--size", &RawArguments::size, "WxH", "Size of the drawing in pixels (default: the photo's):\n" + sizeLimits(),
       kForStylize, kPictureSection},
      {"--overwrite", &RawArguments::overwrite, "", "Replace the output if it exists", kForDrawing, kPictureSection},
      {"--strength", &RawArguments::strength, "0..1",
       "How much of the drawing shows over the photo:\n0 gives the photo back, 1 (default) the drawing", kForDrawing,
       kLookSection},
      {"--keep-colors", &RawArguments::keep_colors, "",
       "Take the light from the drawing and the colours from\nthe photo (luma and chroma of BT.601)", kForDrawing, kLookSection},
      {"--to", &RawArguments::to, "KIND", "Kind of the drawings (default: the photo's own):\n" + joinTexts(pictureKinds()),
       kForStylize, kManySection, pictureKinds()},
      {"--resume", &RawArguments::resume, "",
       "Leave out what is drawn already, after an interrupted\nrun with the same options; one run at a time in a folder",
       kForStylize, kManySection},
  };
}

// Those of clips, with the words for the completion.
std::vector<OptionRow> clipRows() {
  std::vector<OptionRow> rows = clipOptionRows();
  for (OptionRow& row : rows) {
    if (std::string_view(row.names) == "--codec") {
      row.words = {"h264", "h265", "vp9", "av1"};
    }
  }
  return rows;
}

std::vector<OptionRow> neuralRows() {
  return {
      {"--style-image", &RawArguments::style_image, "FILE",
       "For transfer: the picture whose look to take (for a\nsheet, default: painting.png beside the package). A\n"
       "folder gives a sheet of the photo in each look of it",
       kForDrawing, kNeuralSection},
      {"--network", &RawArguments::network, "NAME",
       "For transfer: the network, by the size it works at:\n" + joinNames(transferStyle().networks) +
           " (default: " + std::string(transferStyle().networks.front().name) + ")",
       kForDrawing, kNeuralSection, namesOf(transferStyle().networks)},
      {"--models", &RawArguments::models, "FOLDER",
       "The folder of the model package, model_st.bin\n(default: the program's folder, its folder models,\n../models or "
       "../share/vorin-stt/models seen from it,\nthe first that holds one)",
       kForDrawing | kForInfo | kForSelftest, kNeuralSection},
  };
}

std::vector<OptionRow> deviceRows() {
  return {
      {"--device", &RawArguments::device, "NAME",
       "Where to draw: auto (default: the GPU; without one,\nsoftware), integrated, discrete, or software (this\nmachine's "
       "processor)",
       kForDrawing | kForSelftest, kDeviceSection, namesOf(deviceWishes())},
      {"--precision", &RawArguments::precision, "NAME",
       "What networks compute in on the software device:\nf32 (default: the same drawing everywhere) or bf16\n(faster on "
       "processors that have it)",
       kForDrawing | kForSelftest, kDeviceSection, namesOf(precisions())},
      {"--format", &RawArguments::format, "NAME",
       "Frame format on the way through the library:\n" + frameFormatNames() +
           "\n(default: bgra); nv12 and yuy2 want an even --size",
       kForStylize, kDeviceSection, namesOf(frameFormats())},
  };
}

std::vector<OptionRow> otherRows() {
  return {
      {"--progress", &RawArguments::progress, "KIND",
       "auto (default: a bar on a terminal, elsewhere a line for each tenth), or json: a line at least once a second on "
       "standard error",
       kForStylize, kOtherSection, namesOf(progressWishes())},
      {"--json", &RawArguments::json, "", "Tell the results as JSON on standard output", kForAll, kOtherSection},
      {"-q,--quiet", &RawArguments::quiet, "", "Print errors and warnings only", kForDrawing, kOtherSection},
  };
}

} // namespace

std::vector<OptionRow> optionTable() {
  std::vector<OptionRow> rows;
  for (const auto& part : {drawingRows(), clipRows(), neuralRows(), deviceRows(), otherRows()}) {
    rows.insert(rows.end(), part.begin(), part.end());
  }
  return rows;
}

} // namespace vorin::stylize
