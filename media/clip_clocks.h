// clip_clocks.h: keeps the times of a clip going on where those of its file start again. Private to this folder.
#pragma once

#include "libav_support.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace vorin::media {

// All times are in AV_TIME_BASE unless they are a packet's.
class ClipClocks {
public:
  explicit ClipClocks(const AVFormatContext& context, int video_index) : context_(context), video_index_(video_index) {}

  // usual_duration: of a frame, in the video's time base.
  void setUsualDuration(std::int64_t usual_duration) { usual_duration_ = usual_duration; }

  // Changes the times of the next packet of the file if it belongs to a part that starts again. Returns where that part begins,
  // for its first packet only.
  std::optional<std::int64_t> take(AVPacket& packet);

  // Whether packets of the stream follow each other without gaps.
  bool isPaced(int stream_index) const;

  std::int64_t end() const { return last_end_; } // of what was taken

private:
  struct Clock {                                  // of a stream
    std::optional<std::int64_t> last_decode_time; // as the file says
    std::int64_t shift = 0;                       // what is added to the file's times
    int part = 0;                                 // the number of the part that the stream has reached
  };

  std::optional<std::int64_t> continueTimes(AVPacket& packet);
  void noteEnd(const AVPacket& packet);

  const AVFormatContext& context_;
  int video_index_;
  std::int64_t usual_duration_ = 1;
  std::vector<Clock> clocks_;
  std::int64_t shift_ = 0; // of the newest part
  int part_ = 0;
  std::int64_t last_end_ = 0;
  std::int64_t paced_end_ = 0; // the same of video and sound only
};

} // namespace vorin::media
