#include "libav_support.h"

#include "text.h"

#include <array>
#include <new>

namespace vorin::media {

FrameHandle newFrame() {
  FrameHandle frame(av_frame_alloc());
  return frame ? std::move(frame) : throw std::bad_alloc();
}

PacketHandle newPacket() {
  PacketHandle packet(av_packet_alloc());
  return packet ? std::move(packet) : throw std::bad_alloc();
}

std::string libavText(int error) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  static_cast<void>(av_strerror(error, text.data(), text.size()));
  return text.data();
}

void silenceLibav() {
  av_log_set_level(AV_LOG_QUIET);
}

Error fault(const std::filesystem::path& clip, const std::string& what) {
  return {ErrorKind::kInputOutput, base::quotedPath(clip) + " " + what};
}

std::string fileUrl(const std::string& path) {
  return "file:" + path;
}

} // namespace vorin::media
