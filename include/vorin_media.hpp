/** @file
 * vorin_media: pictures, clips and pipes through the styles of vorin_stt, safely, for C++20 hosts.
 *
 * A Source delivers frames, effects change them, a Sink writes them; run() moves frames from one to the other. An image file is a
 * source of one frame, so images, clips and pipes are handled alike. Restyler is the effect that calls the style-transfer
 * library, and can also be used alone, picture by picture.
 *
 * This is a source interface: it may change before version 1.0, and a program must be built with the header of the library that
 * it links. Every function throws vorin::Error, whose text says what to do, or std::bad_alloc. No function writes to standard
 * output or standard error. Thread-safety: one call at a time on one object, unless a function says otherwise; different objects
 * are independent. */
#ifndef VORIN_MEDIA_HPP
#define VORIN_MEDIA_HPP

#include "vorin_picture.hpp"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace vorin::media {

/* ---- Sources and sinks ------------------------------------------------------------------------- */

/** A picture with a time. */
struct Frame {
  Picture picture;           /**< its pixels */
  std::int64_t time = 0;     /**< of its begin, in the source's time base */
  std::int64_t duration = 0; /**< in the source's time base */
};

struct PacketData;

/** A packet of sound or subtitles, which goes from source to sink untouched. */
struct Packet {
  std::shared_ptr<PacketData> data; /**< opaque */
};

using Item = std::variant<Frame, Packet>; /**< what sources deliver */

struct SourceDetails;

/** What is known about a source before its first frame. Sinks read it to keep the source's sound, tags and the like. */
struct SourceInfo {
  std::string name;                            /**< for messages, in quotes */
  Size size;                                   /**< of all pictures */
  PixelLayout layout = PixelLayout::kBgra;     /**< kNv12, or kBgra where that cannot hold the pictures without loss */
  Rational time_base;                          /**< seconds */
  Rational frame_rate;                         /**< on average; 0/1: unknown */
  std::optional<std::int64_t> frames_expected; /**< none if the source does not say */
  std::shared_ptr<SourceDetails> details;      /**< colour tags, rotation, sound, titles and the like; opaque */
};

/** Delivers frames and packets in the order of the file. */
class VORIN_MEDIA_API Source {
public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  virtual ~Source() = default;

  virtual const SourceInfo& info() const = 0; /**< complete once the source is open */

  /** The next frame or packet; nothing at the end. A source that is cut short or damaged delivers what can be read. */
  virtual std::optional<Item> next() = 0;

  /** Reports, after the end, damaged or missing parts, one line each for the user. */
  virtual std::vector<std::string> damage() const { return {}; }

  /** Reports, after the end, what was left out or changed on purpose, one line each for the user. */
  virtual std::vector<std::string> warnings() const { return {}; }

  /** Ends a next() that waits for another program's bytes. Thread-safety: from any thread. */
  virtual void interrupt() noexcept {}
};

/** Writes frames and packets. A file gets its name when it is complete: one destroyed without finish() leaves nothing behind. */
class VORIN_MEDIA_API Sink {
public:
  Sink() = default;
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  virtual ~Sink() = default;

  virtual Size size() const = 0;           /**< of the pictures to write */
  virtual void write(Frame&& frame) = 0;   /**< in any layout */
  virtual void write(Packet&& packet) = 0; /**< of the source's streams */
  virtual void finish() = 0;               /**< completes the output; once, after the last write */

  /** Ends the output soon, for a user who waits: drops the frames that the encoder still holds and leaves a file that plays.
   * Returns the number of frames in the output; 0: nothing was written. */
  virtual std::int64_t finishEarly() = 0;

  /** The parts of the source that the output cannot hold, one line each for the user; complete once the sink is open. */
  virtual std::vector<std::string> warnings() const { return {}; }

  /** Reports, after finish(), damaged packets of the source that were left out, one line each for the user. */
  virtual std::vector<std::string> damage() const { return {}; }

  /** Ends a write() that waits for another program. Thread-safety: from any thread. */
  virtual void interrupt() noexcept {}
};

/** How to open a source. */
struct SourceOptions {
  std::string raw = {};                /**< for a pipe of raw frames, such as "nv12:1280x720@30"; empty: Y4M */
  bool exact_colours = false;          /**< NV12 in the clip's own colours, for work that changes none; styles expect BT.601 */
  std::uint32_t background = 0xFFFFFF; /**< behind an image's transparent parts: 0xRRGGBB */
  std::optional<std::uint64_t> max_pixels = {}; /**< of an image; none: 16,777,216, or 4096 for each byte of its file */
  int decoder_threads = 0;          /**< of a clip; 0: as many as there are processors. A damaged one decodes alike only on one */
  double start_s = 0;               /**< of a clip's file: leave out what is shown before */
  std::optional<double> end_s = {}; /**< of a clip's file: leave out what begins then or later */
};

/** Opens an image file (PNG, JPEG, WebP, BMP, TIFF; a source of one frame, upright, opaque), a clip, or, as "-",
 * standard input, which may be either. The content decides. kInputOutput: it is unreadable or neither; kUsage: options.raw. */
VORIN_MEDIA_API std::unique_ptr<Source> openSource(const std::filesystem::path& file, const SourceOptions& options = {});

/** What becomes of a clip's sound. */
enum class Sound {
  kCopyOrAac, /**< copied as it is, or encoded as AAC (.webm: Opus) where the output cannot hold it, with a warning */
  kCopy,      /**< copied, or an error where the output cannot hold it */
  kAac,       /**< encoded as AAC */
  kNone       /**< left out */
};

/** How to write an output. */
struct SinkOptions {
  std::string codec = {};          /**< of a clip: h264, h265, vp9, av1, or libavcodec's name; empty: h264, .webm: vp9 */
  std::optional<int> crf = {};     /**< of a clip: quality, 0 is best; none: the codec's usual one */
  std::string raw = {};            /**< for a pipe of raw frames, as in SourceOptions; empty: Y4M */
  bool overwrite = false;          /**< replace an existing file */
  Sound sound = Sound::kCopyOrAac; /**< of a clip */
  std::optional<int> quality = {}; /**< of a JPEG or WebP image, 1 to 100; none: 95, and WebP without loss */
  bool keep_alpha = false;         /**< of an image: give a PNG or WebP file the source's transparency */
  int encoder_threads = 0;         /**< of a clip: on which some encoders' bytes depend; 0: as many as there are processors */
  std::string image = {};          /**< of standard output: an image's file extension, as ".png"; empty: frames */
};

/** Opens an output: an image file or a clip by its file extension (.png .jpg .jpeg .webp .bmp; .mp4 .m4v .mov .mkv .webm), or, as
 * "-", standard output. source: not read from yet. size: of the pictures to come. kUsage: an extension, codec or size that does
 * not fit; kInputOutput: the file exists, or its folder cannot be written to. An image takes exactly one frame. */
VORIN_MEDIA_API std::unique_ptr<Sink> openSink(const std::filesystem::path& file, const SourceInfo& source, Size size,
                                               const SinkOptions& options = {});

/* ---- Effects ----------------------------------------------------------------------------------- */

/** Changes frames, one after the other. */
class VORIN_MEDIA_API Effect {
public:
  Effect() = default;
  Effect(const Effect&) = delete;
  Effect& operator=(const Effect&) = delete;
  virtual ~Effect() = default;

  /** The size of the result for pictures of this size. */
  virtual Size resultSize(Size size) const { return size; }

  /** Called for every frame before any effect's apply(), so that work on the source's frame can begin on another thread. source
   * stays valid until apply() returns. size: of the picture that apply() will get. */
  virtual void see(const Picture& /*source*/, Size /*size*/) {}

  /** source: the unchanged frame. picture: the result of the effects before, at first the frame itself; this effect replaces it,
   * or changes it in place if it owns its pixels. */
  virtual void apply(const Picture& source, Picture& picture) = 0;
};

/** The styles, with their numbers in the style-transfer library. */
enum class Style {
  kTransfer = 0,    /**< the look of a style image, by a neural network */
  kLightGrey = 1,   /**< neural */
  kCartoon = 2,     /**< neural */
  kStippling = 3,   /**< an OpenCL filter */
  kPencilSketch = 4 /**< an OpenCL filter */
};

/** The device that runs the styles. */
enum class Device {
  kAuto,          /**< a GPU that runs the style, else the software device */
  kIntegratedGpu, /**< a GPU of this kind, or an error */
  kDiscreteGpu,   /**< likewise */
  kSoftware       /**< this machine's processor */
};

/** The number format of networks on the software device. */
enum class Precision {
  kF32, /**< the same results on every processor */
  kBf16 /**< faster where the processor has it */
};

/** What a Restyler does and where. */
struct RestylerOptions {
  Style style = Style::kPencilSketch; /**< of the first frames */
  std::string network;                /**< of kTransfer: "512" (also when empty), "256" or "540p" */
  std::filesystem::path models;       /**< the folder of model_st.bin; empty: beside the program, and the usual places */
  std::optional<Size> size;           /**< size of later results; none: each input's own */
  Device device = Device::kAuto;      /**< for all frames */
  std::optional<Precision> precision = std::nullopt;  /**< one in a process; none: that which it has, else kF32 */
  std::uint64_t cache_bytes = std::uint64_t{1} << 28; /**< most that compiled networks take on disk; 0: none are used or kept */
};

/** What a Restyler uses, and what the last frame cost. */
struct RestylerReport {
  Style style = Style::kPencilSketch; /**< set last */
  std::string network;                /**< its entry in the package, without the file extension; empty for a filter */
  std::filesystem::path package;      /**< empty for a filter */
  std::string device;                 /**< its name */
  std::string precision;              /**< of the software device's networks: "f32" or "bf16"; empty on a GPU */
  std::string device_reason;          /**< why it is this device */
  int work_group_edge = 0;            /**< of a filter: the side of its work-groups, in pixels, on which dots depend */
  Size network_size;                  /**< at which a network of any size works */
  double load_ms = 0;                 /**< spent on loading a network for the last frame; 0: it was loaded already */
  double frame_ms = 0;                /**< spent in the style-transfer library on the last frame */
};

/** A safe interface to the style-transfer library. It checks sizes, pitches and buffers, never writes to an input, turns every
 * status and exception into a vorin::Error, reports a blank result as an error, and lets one preparation at a time run in the
 * user's folder of unpacked networks, across threads and processes. A second thread in one object gets kBusy. Frames of one
 * sequence may influence each other, as kTransfer smooths them over time. */
class VORIN_MEDIA_API Restyler final : public Effect {
public:
  /** Finds the package and the device; networks are loaded with the first frame. kModel, kDevice, kUsage. */
  explicit Restyler(const RestylerOptions& options);
  ~Restyler() override;

  void setStyle(Style style, const std::string& network = {}); /**< for the frames to come */
  void setStyleImage(const Picture& image);                    /**< for kTransfer; copied. Any layout */
  void setSize(std::optional<Size> size);                      /**< size of later results; none: each input's own */

  /** Marks the next frame as unrelated to the one before, as after a cut or for another image. */
  void startSequence();

  /** Makes sure that the device runs the style, and loads its network for pictures of this size. */
  void prepare(Size input);

  Picture restyle(const Picture& input);               /**< in the input's layout, but kBgra where that cannot hold the size */
  void restyle(const Picture& input, Picture& output); /**< in the output's layout and size */

  RestylerReport report() const; /**< as of the last call */

  Size resultSize(Size size) const override;
  void apply(const Picture& source, Picture& picture) override;

private:
  class Work;
  std::unique_ptr<Work> work_;
};

/** Reduces the flicker of a restyled clip: parts of the scene that do not change keep their look, and move with the scene. The
 * first frame and the one after a cut stay unchanged. Comes after a Restyler. Pictures: kNv12 or kBgra. */
class VORIN_MEDIA_API Steady final : public Effect {
public:
  /** style: of the Restyler before it. first_frame: the number of the first frame in its clip; dots are renewed in the same order
   * wherever one begins. */
  explicit Steady(Style style, std::int64_t first_frame = 0);
  ~Steady() override;
  void see(const Picture& source, Size size) override;
  void apply(const Picture& source, Picture& picture) override;

private:
  class Work;
  std::unique_ptr<Work> work_;
};

/** Blends the result with the source, and may keep the source's colours. Comes last. Pictures: kNv12 or kBgra. */
class VORIN_MEDIA_API Look final : public Effect {
public:
  /** strength: source * (1 - strength) + result * strength, 0 to 1. keep_colours: luma of the result, chroma of the source, both
   * of BT.601. */
  explicit Look(double strength, bool keep_colours = false);
  void apply(const Picture& source, Picture& picture) override;

private:
  double strength_;
  bool keep_colours_;
};

/* ---- Running ----------------------------------------------------------------------------------- */

/** The progress of a run. */
struct Progress {
  std::int64_t frames_done = 0;                /**< through all effects */
  std::optional<std::int64_t> frames_expected; /**< none if the source does not say */
  double elapsed_ms = 0;                       /**< since the run began */
};

/** Options of a run. */
struct RunOptions {
  const std::atomic<bool>* cancelled = nullptr;       /**< polled between frames; a signal handler may set it */
  std::function<void(const Progress&)> on_frame = {}; /**< after each frame, on the caller's thread */
};

/** The outcome of a run. */
struct RunResult {
  std::int64_t frames = 0;           /**< number of frames in the output */
  bool cancelled = false;            /**< the output then ends early and plays, or nothing was written */
  std::vector<std::string> damage;   /**< of the source, as it and the sink report it */
  std::vector<std::string> warnings; /**< of the source and the sink */
};

/** The size of the source's frames after all effects. */
VORIN_MEDIA_API Size resultSize(const SourceInfo& source, std::span<Effect* const> effects);

/** Reads ahead and writes behind on threads of its own, applies the effects on the caller's, and finishes the sink. Throws what
 * the source, an effect or the sink throws; the sink is then not finished. */
VORIN_MEDIA_API RunResult run(Source& source, Sink& sink, std::span<Effect* const> effects, const RunOptions& options = {});

} // namespace vorin::media

#endif
