// Looks through a clip and cuts it into units: where a scene ends near the usual length, else at that length.
//
// A unit that begins with a scene needs nothing of the frames before it. Whether a frame begins one is asked as steadying asks
// it: its motion search finds little of the frame before. The search is only made where small copies of both frames differ
// clearly.
#include "clip_module.h"
#include "clip_units.h"
#include "effects/steady_blend.h"
#include "picture_mat.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <variant>

namespace vorin::media {
namespace {

cv::Mat searchable(const Picture& picture) {
  return picture.layout() == PixelLayout::kNv12 ? matOver(picture) : bgrOf(picture);
}

cv::Mat smallCopy(const Picture& picture) {
  cv::Mat small;
  cv::resize(searchable(picture), small, {32, 18}, 0, 0, cv::INTER_AREA);
  return small;
}

bool beginsScene(const Picture& before, const Picture& picture) {
  constexpr double kClearDifference = 6; // levels, on average
  const cv::Mat small = smallCopy(picture);
  const double difference =
      cv::norm(smallCopy(before), small, cv::NORM_L1) / static_cast<double>(small.total() * small.elemSize());
  if (difference < kClearDifference) {
    return false;
  }
  const cv::Size size(picture.size().width, picture.size().height);
  SourceMotion motion(kUsualMemory);
  motion.follow(searchable(before), size);
  return !motion.follow(searchable(picture), size);
}

// Cuts while the frames pass by. Frames from three quarters of the usual length to five quarters may begin the next unit.
class Cutter {
public:
  Cutter(const SurveyRules& rules, double frames_per_second)
      : usual_(std::max<std::int64_t>(1, std::llround(rules.unit_s * frames_per_second))), warm_up_(rules.warm_up) {}

  void take(Frame&& frame) {
    const std::int64_t length = frame_ - part_.first; // of the unit, without this frame
    const bool may_begin_unit = frame_ == 0 || length >= usual_;
    const bool may_begin_scene = frame_ > 0 && 4 * length >= 3 * usual_ && beginsScene(before_, frame.picture);
    if (may_begin_unit || may_begin_scene || warm_up_ > 0) {
      marks_[frame_] = {frame.time, sha256Of(frame.picture)};
    }
    if (frame_ == 0) {
      begin(0, 0);
    }
    if (may_begin_scene) {
      scenes_.push_back(frame_);
    }
    if (4 * length >= 5 * usual_) {
      cut();
    }
    before_ = std::move(frame.picture);
    ++frame_;
  }

  std::vector<ClipPart> finish() {
    part_.frames = frame_ - part_.first;
    parts_.push_back(part_);
    return std::move(parts_);
  }

private:
  struct Mark {
    std::int64_t time = 0;
    std::string sha256;
  };

  void begin(std::int64_t first, std::int64_t warm_up) {
    const Mark& from = marks_.at(first - warm_up);
    part_ = {first, 0, marks_.at(first).time, warm_up, from.time, from.sha256};
    std::erase_if(scenes_, [&](std::int64_t scene) { return 4 * (scene - first) < 3 * usual_; });
    std::erase_if(marks_, [&](const auto& mark) { return mark.first < first - warm_up_; });
  }

  void cut() {
    const std::int64_t wanted = part_.first + usual_;
    const auto nearest = std::min_element(scenes_.begin(), scenes_.end(), [&](std::int64_t a, std::int64_t b) {
      return std::abs(a - wanted) < std::abs(b - wanted);
    });
    const bool at_scene = nearest != scenes_.end();
    const std::int64_t first = at_scene ? *nearest : wanted;
    part_.frames = first - part_.first;
    parts_.push_back(part_);
    scene_ = at_scene ? first : scene_;
    begin(first, std::min(warm_up_, first - scene_));
  }

  std::int64_t usual_;   // length of a unit, in frames
  std::int64_t warm_up_; // frames
  std::int64_t frame_ = 0;
  Picture before_;
  std::int64_t scene_ = 0; // the last one that a unit began with
  ClipPart part_;          // the one that the frames belong to
  std::vector<ClipPart> parts_;
  std::vector<std::int64_t> scenes_;
  std::map<std::int64_t, Mark> marks_; // of frames that a unit may begin with, or warm up from
};

} // namespace

std::optional<ClipSurvey> clips::surveyClip(Source& clip, const SurveyRules& rules, const OnFrame& on_frame) {
  constexpr double kUsualRate = 25;
  const Rational rate = clip.info().frame_rate;
  Cutter cutter(rules, rate.num > 0 && rate.den > 0 ? static_cast<double>(rate.num) / rate.den : kUsualRate);
  while (std::optional<Item> item = clip.next()) {
    if (auto* frame = std::get_if<Frame>(&*item)) {
      cutter.take(std::move(*frame));
      if (!on_frame()) {
        return std::nullopt;
      }
    }
  }
  return ClipSurvey{cutter.finish(), clip.damage(), clip.warnings()};
}

} // namespace vorin::media
