// Frames of random sizes, formats and pitches through all styles, by the style library's interface and by the Restyler's. Each
// buffer has the size that the interface asks for and not a byte more, between pages that nobody may touch; inputs may not be
// written to.
#include "host.h"
#include "library_copy.h"
#include "support/media_way.h"

#include <functional>
#include <map>
#include <optional>
#include <random>
#include <utility>

namespace vorin::media {
namespace {

using namespace tests;

constexpr std::array kFormats = {VORIN_FMT_BGRA, VORIN_FMT_RGBA, VORIN_FMT_BGR24, VORIN_FMT_NV12,
                                 VORIN_FMT_YUY2}; // as PixelLayout
constexpr std::array kPixelBytes = {4, 4, 3, 1, 2};

bool isFilter(Style style) {
  return style == Style::kStippling || style == Style::kPencilSketch;
}

// Who reads a frame's pitch: the Restyler always, a neural style that of NV12, a filter none.
enum class Pitch { kRead, kReadInNv12, kIgnored };

class FencedFrame {
public:
  // Sizes of all magnitudes up to 1024 are equally likely.
  FencedFrame(std::mt19937& random, Pitch pitch) : layout_(static_cast<PixelLayout>(random() % kFormats.size())) {
    const unsigned even_width = isNv12() || layout_ == PixelLayout::kYuy2 ? 2 : 1;
    const unsigned least = pitch == Pitch::kRead ? 12 : 1; // the Restyler calls a result of one colour an error
    const auto side = [&](unsigned step) {
      return static_cast<int>((least + random() % (1U << random() % 11) + step - 1) / step * step);
    };
    size_ = {side(even_width), side(isNv12() ? 2 : 1)};
    row_bytes_ = static_cast<std::size_t>(size_.width * kPixelBytes.at(static_cast<std::size_t>(layout_)));
    pitch_bytes_ = row_bytes_;
    stated_pitch_bytes_ = random() % 5000;
    if (pitch == Pitch::kRead || (pitch == Pitch::kReadInNv12 && isNv12())) {
      pitch_bytes_ += pitch == Pitch::kRead ? random() % 70 : random() % 35 * 2; // the library takes even ones only
      stated_pitch_bytes_ = pitch_bytes_;
    }
    rows_ = static_cast<std::size_t>(isNv12() ? size_.height * 3 / 2 : size_.height);
    buffer_.emplace(pitch_bytes_ * rows_, random() % 2 == 0);
  }

  void fill(std::mt19937& random) {
    std::generate_n(buffer_->data(), buffer_->size(), [&] { return static_cast<std::uint8_t>(random()); });
  }
  void forbidWriting() { buffer_->forbidWriting(); }

  PixelLayout layout() const { return layout_; }
  Size size() const { return size_; }
  SttFrame described() const {
    const auto number = [](auto value) { return static_cast<std::uint32_t>(value); };
    const std::uint32_t format = kFormats.at(static_cast<std::size_t>(layout_));
    return {VORIN_MEM_SYSTEM, buffer_->data(), format, number(size_.width), number(size_.height), number(stated_pitch_bytes_)};
  }
  Picture wrapped() const { return Picture::wrap(layout_, size_, buffer_->data(), pitch_bytes_); }
  std::string text() const {
    return "layout " + std::to_string(static_cast<int>(layout_)) + " " + std::to_string(size_.width) + "x" +
           std::to_string(size_.height) + " pitch " + std::to_string(pitch_bytes_);
  }

  // Of an output: whether all around the rows is untouched, and each pixel that has an alpha is opaque.
  bool isSound() const {
    bool sound = buffer_->restIsUntouched();
    for (std::size_t row = 0; row < rows_; ++row) {
      const std::uint8_t* begin = buffer_->data() + row * pitch_bytes_;
      for (std::size_t byte = 3; row_bytes_ == 4U * size_.width && byte < row_bytes_; byte += 4) {
        sound = sound && begin[byte] == 255;
      }
      sound = sound && std::all_of(begin + row_bytes_, begin + pitch_bytes_, FencedBuffer::isUntouched);
    }
    return sound;
  }

private:
  bool isNv12() const { return layout_ == PixelLayout::kNv12; }

  PixelLayout layout_;
  Size size_;
  std::size_t row_bytes_ = 0;
  std::size_t pitch_bytes_ = 0;
  std::size_t stated_pitch_bytes_ = 0; // a chance number where rows follow each other whatever it says
  std::size_t rows_ = 0;
  std::optional<FencedBuffer> buffer_;
};

struct Case {
  Style style;
  FencedFrame &input, &output, &look; // the last is a style image
};

class FencedFrames : public testing::Test {
protected:
  // pitch: of a neural style's frames and of a filter's.
  void sweep(const char* name, int count, Pitch neural_pitch, Pitch filter_pitch,
             const std::function<void(const Case&)>& process) {
    Sweep sweep(name);
    for (int left = count * longerBy(); left > 0; --left) {
      const auto style = static_cast<Style>(random_() % 5);
      const Pitch pitch = isFilter(style) ? filter_pitch : neural_pitch;
      FencedFrame input(random_, pitch);
      FencedFrame output(random_, pitch);
      FencedFrame look(random_, filter_pitch);
      sweep.begin("style " + std::to_string(static_cast<int>(style)) + ", " + input.text() + " to " + output.text() + ", look " +
                  look.text());
      try {
        input.fill(random_);
        look.fill(random_);
        look.forbidWriting();
        process({style, input, output, look});
        sweep.require(output.isSound(), "bytes around the result are written, or an alpha is not");
      } catch (const std::exception& error) {
        sweep.require(false, error.what());
      }
    }
  }

  TestPackage package_ = sweepPackage();
  std::mt19937 random_{14};
};

TEST_F(FencedFrames, OfTheLibrary) {
  std::map<Style, LibraryCopy::Object> objects;
  sweep("frames, library", 9000, Pitch::kReadInNv12, Pitch::kIgnored, [&](const Case& each) {
    LibraryCopy::Object& object = objects[each.style];
    const bool is_new = object == nullptr || random_() % 40 == 0; // so that networks of all sizes are loaded
    object = is_new ? LibraryCopy::get(true).create() : std::move(object);
    const auto [width, height] = each.output.size();
    const auto style = static_cast<std::int32_t>(each.style);
    if (is_new && !prepareStyle(*object, style, width, height, package_.folder())) {
      throw std::runtime_error("the style is not prepared");
    }
    configure(*object, style, width, height);
    if (isFilter(each.style) || each.input.layout() != PixelLayout::kBgr24) { // which a neural style may work on in place
      each.input.forbidWriting();
    }
    const SttFrame in = each.input.described();
    const SttFrame look = each.look.described();
    SttFrame out = each.output.described();
    out.width = out.height = 0;
    const bool has_look = each.style == Style::kTransfer && (is_new || random_() % 8 == 0);
    const _VorinStatus status = object->ProcessFrame(nullptr, &in, has_look ? &look : nullptr, &out);
    if (status != VORIN_STATUS_OK || std::cmp_not_equal(out.width, width) || std::cmp_not_equal(out.height, height)) {
      throw std::runtime_error("status " + std::to_string(status) + ", or another size");
    }
  });
}

TEST_F(FencedFrames, OfTheRestyler) {
  Restyler restyler(softwareOptions(Style::kPencilSketch, package_.folder()));
  sweep("frames, Restyler", 1000, Pitch::kRead, Pitch::kRead, [&](const Case& each) {
    each.input.forbidWriting();
    restyler.setStyleImage(each.look.wrapped());
    restyler.setStyle(each.style);
    Picture result = each.output.wrapped();
    restyler.restyle(each.input.wrapped(), result);
  });
}

} // namespace
} // namespace vorin::media
