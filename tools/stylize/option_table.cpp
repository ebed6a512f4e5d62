#include "option_table.h"

#include "clip_command.h"
#include "frame_conversion.h"
#include "image_file.h"
#include "name_table.h"
#include "picture_size.h"

#include <algorithm>

namespace vorin::stylize {
namespace {

constexpr const char* kPictureSection = "The drawing";
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
colour become 8, photos marked as turned are turned upright.

A neural style loads its network anew for each photo. lightgrey and cartoon work
at the photo's size, but at 1920x1080 at most; transfer works at the size of its
network. The library brings the drawing to the photo's size.

Data goes to standard output, all else to standard error.

Exit status: 0 all done, 1 some inputs failed, 2 usage, 3 model or
configuration, 4 device, 5 input or output, 130 cancelled.

Examples:
  vorin-stylize photo.jpg -o drawing.png --style pencil
  vorin-stylize photo.jpg -o small.webp --style stipple --size 640x480
  vorin-stylize photo.jpg -o drawing.png --style pencil --device software
  vorin-stylize photo.jpg -o drawing.png --style cartoon --models folder
  vorin-stylize photo.jpg -o drawing.png --style transfer --style-image p.jpg
  vorin-stylize sheet photo.jpg -o sheet.png
  vorin-stylize devices)";

const char* const kSheetFooter = "\nExample:\n  vorin-stylize sheet harbour.jpg garden.png -o sheet.png";

const Style& transferStyle() {
  return *std::find_if(styles().begin(), styles().end(), [](const Style& style) { return style.takesStyleImage(); });
}

std::vector<OptionRow> optionTable() {
  std::vector<OptionRow> rows = {
      {"-o,--output", &RawArguments::output, "FILE",
       "The file to write; its extension says which kind:\n" + pictureExtensions() + clipExtensionsHelp(), kForBoth,
       kPictureSection},
      {"--style", &RawArguments::style, "NAME", styleHelp(), kForStylize, kPictureSection},
      {"--size", &RawArguments::size, "WxH", "Size of the drawing in pixels (default: the photo's):\n" + sizeLimits(),
       kForStylize, kPictureSection},
      {"--overwrite", &RawArguments::overwrite, "", "Replace the output if it exists", kForBoth, kPictureSection},
      {"--style-image", &RawArguments::style_image, "FILE",
       "For transfer: the picture whose look to take (for a\nsheet, default: painting.png beside the package)", kForBoth,
       kNeuralSection},
      {"--network", &RawArguments::network, "NAME",
       "For transfer: the network, by the size it works at:\n" + joinNames(transferStyle().networks) +
           " (default: " + std::string(transferStyle().networks.front().name) + ")",
       kForBoth, kNeuralSection},
      {"--models", &RawArguments::models, "FOLDER",
       "The folder of the model package, model_st.bin\n(default: the program's folder, its folder models,\n../models or "
       "../share/vorin-stt/models seen from it,\nthe first that holds one)",
       kForBoth, kNeuralSection},
      {"--device", &RawArguments::device, "NAME",
       "Where to draw: auto (default: the GPU; without one,\nsoftware), integrated, discrete, or software (this\nmachine's "
       "processor)",
       kForBoth, kDeviceSection},
      {"--precision", &RawArguments::precision, "NAME",
       "What networks compute in on the software device:\nf32 (default: the same drawing everywhere) or bf16\n(faster on "
       "processors "
       "that have it)",
       kForBoth, kDeviceSection},
      {"--format", &RawArguments::format, "NAME",
       "Frame format on the way through the library:\n" + frameFormatNames() +
           "\n(default: bgra); nv12 and yuy2 want an even --size",
       kForStylize, kDeviceSection},
      {"-q,--quiet", &RawArguments::quiet, "", "Print errors only", kForBoth, kOtherSection},
  };
  const std::vector<OptionRow> clip_rows = clipOptionRows();
  const auto behind_the_drawing =
      std::find_if(rows.begin(), rows.end(), [](const OptionRow& row) { return row.section != kPictureSection; });
  rows.insert(behind_the_drawing, clip_rows.begin(), clip_rows.end());
  return rows;
}

} // namespace vorin::stylize
