// clip_module.h: what libvorin_media has from the library libvorin_media_clips, which holds all that needs libav or optical flow.
// It is loaded at the first clip, pipe, or BMP, TIFF or GIF file: libav brings 120 libraries, which take longer to load than an
// image takes to restyle. On Windows, where libav is five libraries, it is linked in.
//
// The module has no part of base that holds a state of the process. The unfinished output is therefore made outside, and reached
// by its virtual functions.
#pragma once

#include "clip_units.h"
#include "image_codec.h"
#include "output_file.h"
#include "sources_and_sinks.h"

#include <opencv2/core/mat.hpp>

namespace vorin::media {

namespace clips {

void checkOptions(const std::filesystem::path& output, const SinkOptions& options);
std::unique_ptr<Source> openClipSource(const std::filesystem::path& clip, const SourceOptions& options);

// output: of the clip.
std::unique_ptr<Sink> openClipSink(std::unique_ptr<base::TemporaryOutput> output, const std::filesystem::path& clip,
                                   const SourceInfo& source, Size size, const SinkOptions& options);

// begin: what was read from the pipe before.
std::unique_ptr<Source> openPipeSource(int descriptor, const SourceOptions& options, std::vector<std::uint8_t>&& begin);
std::unique_ptr<Sink> openPipeSink(int descriptor, const SourceInfo& source, Size size, const std::string& raw);
std::optional<ClipSurvey> surveyClip(Source& clip, const SurveyRules& rules, const OnFrame& on_frame);
std::unique_ptr<Source> openClipPart(const std::filesystem::path& clip, const SourceOptions& options, const ClipPart& part,
                                     bool without_seeking);
std::unique_ptr<UnitSink> openUnitSink(const std::filesystem::path& file, const std::filesystem::path& output,
                                       const SourceInfo& source, Size size, const SinkOptions& options, std::int64_t warm_up);
std::unique_ptr<Source> openClipPackets(const std::filesystem::path& clip, const SourceOptions& options);
std::optional<ClipSurvey> joinClip(std::unique_ptr<base::TemporaryOutput> file, const std::filesystem::path& output,
                                   Source& clip_packets, const SourceInfo& info, Size size, const SinkOptions& options,
                                   std::span<const UnitFile> units, const OnFrame& on_frame);
std::unique_ptr<Effect> makeSteady(Style style, std::int64_t first_frame);

// Blue, green and red of 8 bits, and alpha if the file may have transparent parts; empty for a damaged file, and for a picture of
// more pixels.
cv::Mat decodeImage(std::span<const std::uint8_t> file, ImageKind kind, std::uint64_t most_pixels);

// Empty if the encoder fails.
std::vector<std::uint8_t> encodeBmp(const cv::Mat& bgr);

} // namespace clips

struct ClipModule {
  decltype(&clips::checkOptions) check_options;
  decltype(&clips::openClipSource) open_clip_source;
  decltype(&clips::openClipSink) open_clip_sink;
  decltype(&clips::openPipeSource) open_pipe_source;
  decltype(&clips::openPipeSink) open_pipe_sink;
  decltype(&clips::surveyClip) survey_clip;
  decltype(&clips::openClipPart) open_clip_part;
  decltype(&clips::openUnitSink) open_unit_sink;
  decltype(&clips::openClipPackets) open_clip_packets;
  decltype(&clips::joinClip) join_clip;
  decltype(&clips::makeSteady) make_steady;
  decltype(&clips::decodeImage) decode_image;
  decltype(&clips::encodeBmp) encode_bmp;
};

// The one function that the module exports; clipModule of library_copy.h calls it.
extern "C" const ClipModule* vorin_media_clips();

} // namespace vorin::media
