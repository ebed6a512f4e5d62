// Stands in for clips and pipes, which the library for Windows lacks: there is no libav for MinGW, and its OpenCV has no optical
// flow.
#include "../clip_units.h"
#include "../sources_and_sinks.h"

namespace vorin::media {
namespace {

Error noClips() {
  return {ErrorKind::kUsage,
          "clips and pipes are not part of the program for Windows: convert the clip's frames to images first"};
}

} // namespace

bool isClipName(const std::filesystem::path& /*file*/) {
  return false;
}

std::vector<std::string> clipExtensions() {
  return {};
}

std::string usualQualities() {
  return {};
}

std::string rawPixelNames() {
  return {};
}

void checkClipOptions(const std::filesystem::path& /*output*/, const SinkOptions& /*options*/) {
  throw noClips();
}

Size rawSize(const std::string& /*raw*/) {
  throw noClips();
}

std::unique_ptr<Source> openClipSource(const std::filesystem::path& /*clip*/, const SourceOptions& /*options*/) {
  throw noClips();
}

std::unique_ptr<Sink> openClipSink(const std::filesystem::path& /*clip*/, const SourceInfo& /*source*/, Size /*size*/,
                                   const SinkOptions& /*options*/) {
  throw noClips();
}

void waitForStandardInput(const std::atomic<bool>& /*cancelled*/) {}

std::unique_ptr<Source> openPipeSource(int /*descriptor*/, const SourceOptions& /*options*/) {
  throw noClips();
}

void writeStandardOutput(std::span<const std::uint8_t> /*bytes*/) {
  throw noClips();
}

std::unique_ptr<Sink> openPipeSink(int /*descriptor*/, const SourceInfo& /*source*/, Size /*size*/, const std::string& /*raw*/) {
  throw noClips();
}

std::optional<ClipSurvey> surveyClip(Source& /*clip*/, const SurveyRules& /*rules*/, const OnFrame& /*on_frame*/) {
  throw noClips();
}

std::unique_ptr<Source> openClipPart(const std::filesystem::path& /*clip*/, const SourceOptions& /*options*/,
                                     const ClipPart& /*part*/, bool /*without_seeking*/) {
  throw noClips();
}

std::unique_ptr<UnitSink> openUnitSink(const std::filesystem::path& /*file*/, const std::filesystem::path& /*output*/,
                                       const SourceInfo& /*source*/, Size /*size*/, const SinkOptions& /*options*/,
                                       std::int64_t /*warm_up*/) {
  throw noClips();
}

std::unique_ptr<Source> openClipPackets(const std::filesystem::path& /*clip*/, const SourceOptions& /*options*/) {
  throw noClips();
}

std::optional<ClipSurvey> joinClip(std::unique_ptr<base::TemporaryOutput> /*file*/, const std::filesystem::path& /*output*/,
                                   Source& /*clip_packets*/, const SourceInfo& /*info*/, Size /*size*/,
                                   const SinkOptions& /*options*/, std::span<const UnitFile> /*units*/,
                                   const OnFrame& /*on_frame*/) {
  throw noClips();
}

class Steady::Work {};

Steady::Steady(Style /*style*/, std::int64_t /*first_frame*/) {
  throw noClips();
}

Steady::~Steady() = default;

void Steady::see(const Picture& /*source*/, Size /*size*/) {}

void Steady::apply(const Picture& /*source*/, Picture& /*picture*/) {}

} // namespace vorin::media
