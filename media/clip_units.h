// clip_units.h: what a job does with a clip: looks through it to cut it into units, reads the frames of a unit, writes them to a
// file of their own, and joins the files of all units to the output.
//
// A unit's file is NUT, which holds any codec and every time base exactly. It counts its frames' times from its first frame, and
// has pictures only: what else the clip holds is copied when the units are joined.
#pragma once

#include "files.h"
#include "output_file.h"
#include "sources_and_sinks.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vorin::media {

// The frames of a unit, by their number in the clip and their time, as the source of the whole clip delivers it.
struct ClipPart {
  std::int64_t first = 0; // that the unit delivers
  std::int64_t frames = 0;
  std::int64_t first_time = 0;
  std::int64_t warm_up = 0; // frames before the first one that are restyled as well
  std::int64_t begin_time = 0;
  std::string begin_sha256; // of the first of those, or of the first frame: its pixels as the source delivers them
  bool operator==(const ClipPart&) const = default;
};

// How to cut a clip.
struct SurveyRules {
  double unit_s = 20;       // the usual length
  std::int64_t warm_up = 0; // frames; none where a unit begins with a scene
};

struct ClipSurvey {
  std::vector<ClipPart> parts;
  std::vector<std::string> damage;
  std::vector<std::string> warnings;
};

// What is called for each frame. Work ends early, with an empty result, once it returns false.
using OnFrame = std::function<bool()>;

// Decodes the whole clip.
std::optional<ClipSurvey> surveyClip(Source& clip, const SurveyRules& rules, const OnFrame& on_frame);

// Delivers a part's frames, those for warming up included. without_seeking: decodes the clip from its begin, which is slow, but
// right for every file.
std::unique_ptr<Source> openClipPart(const std::filesystem::path& clip, const SourceOptions& options, const ClipPart& part,
                                     bool without_seeking);

// The sum of a picture's pixels.
inline std::string sha256Of(const Picture& picture) {
  base::Sha256 sum;
  for (std::size_t row = 0; row < picture.rowCount(); ++row) {
    sum.add({picture.pixels() + row * picture.pitchBytes(), picture.rowBytes()});
  }
  return sum.hexadecimal();
}

// Encodes a unit's frames as the output's would be.
class UnitSink : public Sink {
public:
  virtual int delay() const = 0;                 // after finish(): by how many frames packets come later than they are shown
  virtual std::int64_t lastDuration() const = 0; // after finish(): of the last frame
};

// output: the file of the whole clip, whose name decides the codec. warm_up: the number of first frames that are not written.
std::unique_ptr<UnitSink> openUnitSink(const std::filesystem::path& file, const std::filesystem::path& output,
                                       const SourceInfo& source, Size size, const SinkOptions& options, std::int64_t warm_up);

// A unit that is done.
struct UnitFile {
  std::filesystem::path file;
  std::int64_t first_time = 0; // of its first frame, in the time base of the clip
  std::int64_t frames = 0;
  std::int64_t last_duration = 0; // of its last frame
  int delay = 0;
};

// Delivers what a clip holds besides its frames.
std::unique_ptr<Source> openClipPackets(const std::filesystem::path& clip, const SourceOptions& options);

// Writes a clip's output from its units by copying packets, with the sound and all else from the clip. file: the output, whose
// name decides its kind. info: of the clip, for the sink. size: of the results.
std::optional<ClipSurvey> joinClip(std::unique_ptr<base::TemporaryOutput> file, const std::filesystem::path& output,
                                   Source& clip_packets, const SourceInfo& info, Size size, const SinkOptions& options,
                                   std::span<const UnitFile> units, const OnFrame& on_frame);

} // namespace vorin::media
