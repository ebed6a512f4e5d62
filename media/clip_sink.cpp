// Writes a clip: libavcodec encodes it, and ClipFile takes the packets.
//
// Pictures are written 8 bits deep and with colour at half the width and height, as players want them. H.264 and H.265 cannot
// hold odd sizes that way: pictures of odd size keep their size and get colour at full width and height.
#include "clip_file.h"
#include "clip_module.h"

#include <chrono>
#include <system_error>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

class ClipSink final : public Sink {
public:
  ClipSink(std::unique_ptr<base::TemporaryOutput> file, const fs::path& output, const SourceInfo& source, Size size,
           const SinkOptions& options)
      : output_(output), size_(size), overwrite_(options.overwrite), encoder_(source, size, options, formatFor(output, options)),
        file_(std::move(file), output, source, encoder_.context(), options) {}

  Size size() const override { return size_; }
  std::vector<std::string> warnings() const override { return file_.warnings(); }
  std::vector<std::string> damage() const override { return file_.damage(); }
  void write(Frame&& frame) override;
  void write(Packet&& packet) override { file_.write(std::move(packet)); }
  void finish() override;

  // Without a single frame no file is written, and an older file of that name stays.
  std::int64_t finishEarly() override;

private:
  bool writeEncoded(); // writes the encoder's next packet; false: none is ready

  fs::path output_;
  Size size_;
  bool overwrite_;
  VideoEncoder encoder_;
  ClipFile file_;
  PacketHandle packet_ = newPacket();
  std::int64_t frames_ = 0;
  std::int64_t encoded_ = 0;
};

void ClipSink::write(Frame&& frame) {
  encoder_.send(std::move(frame));
  ++frames_;
  while (writeEncoded()) {
  }
}

bool ClipSink::writeEncoded() {
  if (!encoder_.receive(*packet_)) {
    return false;
  }
  file_.writeVideo(*packet_);
  ++encoded_;
  return true;
}

void ClipSink::finish() {
  encoder_.sendEnd();
  while (writeEncoded()) {
  }
  file_.close();
}

std::int64_t ClipSink::finishEarly() {
  std::error_code ignored;
  if (frames_ == 0 || (overwrite_ && fs::exists(output_, ignored))) {
    return 0;
  }
  constexpr std::chrono::milliseconds kPatience(100);
  const auto start = std::chrono::steady_clock::now();
  if (encoded_ == 0 || encoder_.endsQuickly()) {
    encoder_.sendEnd();
    while ((encoded_ == 0 || std::chrono::steady_clock::now() - start < kPatience) && writeEncoded()) {
    }
  }
  file_.close();
  return encoded_;
}

} // namespace

void clips::checkOptions(const fs::path& output, const SinkOptions& options) {
  static_cast<void>(configuredEncoder(options, formatFor(output, options)));
}

std::unique_ptr<Sink> clips::openClipSink(std::unique_ptr<base::TemporaryOutput> output, const fs::path& clip,
                                          const SourceInfo& source, Size size, const SinkOptions& options) {
  return std::make_unique<ClipSink>(std::move(output), clip, source, size, options);
}

} // namespace vorin::media
