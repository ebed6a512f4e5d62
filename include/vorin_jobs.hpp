/** @file
 * Jobs: long work on images and clips, cut into units that any number of processes and machines do, in any order, and that
 * survive every end of them.
 *
 * A job is a folder. It holds job.json, which is written once by planJob() and names all that decides the results, and the folder
 * units with the results of the units that are done. The bytes of a unit depend on the plan alone: each unit starts from a fresh
 * state, and where the style has a memory, warms up over the frames before its first. So work that was interrupted, work that was
 * distributed, and work that one process did from begin to end have the same result.
 *
 * The folder may lie on a file system that several machines share. Paths in job.json are relative to it where they can be.
 *
 * Every function throws vorin::Error or std::bad_alloc. Thread-safety: different processes may work on one job; within a process,
 * one call at a time for a job. */
#ifndef VORIN_JOBS_HPP
#define VORIN_JOBS_HPP

#include "vorin_media.hpp"

namespace vorin::media {

/** The size of a result: "640x480", one side that the other follows in the picture's shape, or a percentage of both. */
struct SizeRule {
  int width = 0;                                    /**< 0: follows from the height, or from the percentage */
  int height = 0;                                   /**< 0: follows likewise */
  double percent = 0;                               /**< 0: the sides count */
  bool operator==(const SizeRule&) const = default; /**< by value */
};

/** All that decides a result besides its input. */
struct Recipe {
  RestylerOptions restyler;          /**< its size is set from the rule */
  std::optional<SizeRule> size;      /**< of a picture as it is shown; none: the input's */
  std::filesystem::path style_image; /**< for Style::kTransfer */
  double strength = 1;               /**< as in Look */
  bool keep_colours = false;         /**< as in Look */
  bool steady = false;               /**< of clips: whether Steady follows the Restyler */
  SourceOptions source;              /**< but exact_colours, which depends on the input */
  SinkOptions sink;                  /**< of each output */
};

/** The outcome of restyleFile(). */
struct FileResult {
  RunResult run;           /**< frames, damage and warnings */
  Size size;               /**< of the result, as it is stored */
  RestylerReport restyler; /**< what restyled, and what the last frame cost */
};

/** Restyles one file, an image or a clip as the output's file extension says, as recipe says. kUsage: the output has no known
 * extension, or is a file that is read; otherwise as openSource(), Restyler and openSink() throw. The output is whole or is not
 * there, but for a cancelled clip, which ends early. */
VORIN_MEDIA_API FileResult restyleFile(const std::filesystem::path& input, const std::filesystem::path& output,
                                       const Recipe& recipe, const RunOptions& options = {});

/** An input of a job. */
struct JobInput {
  std::filesystem::path file;   /**< that is read */
  std::filesystem::path output; /**< of its result */
  bool is_clip = false;         /**< else an image */
};

/** What the functions tell while they work. */
struct JobHooks {
  const std::atomic<bool>* cancelled = nullptr;                /**< polled between frames */
  std::function<void(std::int64_t frames_done)> on_frame = {}; /**< of the whole job, an image counting as one frame */
  std::function<void(const std::string&)> on_line = {};        /**< a line for the user */
  std::function<void(const RestylerReport&)> on_device = {};   /**< once it is known what restyles */
  std::function<void(Restyler&, Size)> prepare = {};           /**< called in place of Restyler::prepare */
};

/** How to cut the inputs into units. */
struct UnitRules {
  double clip_s = 20; /**< of clips: usual length, seconds. Cuts between scenes near that length are preferred */
  int images = 50;    /**< in a unit */
};

/** Where a job stands. */
struct JobState {
  /** Of a unit. kRunning: a process is at work on it; kFailed: the last try failed. */
  enum class UnitState { kOpen, kRunning, kDone, kFailed };
  /** A unit and how it stands. */
  struct Unit {
    std::string id;                     /**< a hash of all that decides its bytes */
    UnitState state = UnitState::kOpen; /**< now */
    std::filesystem::path input;        /**< the clip, or the first image */
    std::int64_t frames = 0;            /**< an image counts as one */
    double seconds = 0;                 /**< kDone: that the work took */
    std::string note;                   /**< kRunning: host and process; kFailed: why */
  };
  std::vector<Unit> units;                                  /**< in the order of the plan */
  std::vector<std::string> failures;                        /**< of single inputs, one line each: they get no result */
  std::int64_t frames = 0;                                  /**< of all units */
  std::int64_t frames_done = 0;                             /**< of the units that are done */
  VORIN_MEDIA_API std::size_t count(UnitState state) const; /**< of units in that state */
};

/** Writes a new job: looks through all inputs, which for clips takes the time of decoding them. If the folder holds a job
 * already, checks that it is the same one. kUsage, with the name of what changed, if it is another. hooks.on_frame: frames looked
 * through. Returns false if it was cancelled: nothing is
 * written then. */
VORIN_MEDIA_API bool planJob(const std::filesystem::path& job, std::span<const JobInput> inputs, const Recipe& recipe,
                             const UnitRules& rules = {}, const JobHooks& hooks = {});

/** Does units of a job, one call at a time; holds the device and the network between them. */
class VORIN_MEDIA_API JobWorker {
public:
  /** models: the folder of the package; empty: the plan's. kInputOutput: there is no job, or an input changed since; kModel,
   * kDevice: this machine cannot do the job as it was planned, with the name of what differs. The hooks are kept. */
  explicit JobWorker(const std::filesystem::path& job, const std::filesystem::path& models = {}, JobHooks hooks = {});
  ~JobWorker();
  JobWorker(const JobWorker&) = delete;
  JobWorker& operator=(const JobWorker&) = delete;

  /** Does one unit if it is not done, and returns how it stands. If another process does it, waits for that one, and
   * takes its place if it ends. kUsage: there is no such unit; kInputOutput: the disk is full. */
  JobState::Unit work(const std::string& unit);

  /** Does units until none is open. Units that other processes do are left to them; where one of those ends without its unit,
   * this one takes it. A unit that fails is tried so many times, one with damaged inputs once, and does not stop the others. */
  JobState workOnAll(int tries = 3);

private:
  class Work;
  std::unique_ptr<Work> work_;
};

/** Reads where the job stands. */
VORIN_MEDIA_API JobState jobState(const std::filesystem::path& job);

/** The outcome of joinJob. */
struct JobJoin {
  std::vector<std::filesystem::path> outputs; /**< that were written */
  std::vector<std::string> damaged_units;     /**< whose files were not what they should be: they are open again */
  std::vector<std::string> failures;          /**< of inputs without a result, one line each */
  std::vector<std::string> warnings;          /**< one line each */
  bool is_damaged = false;                    /**< a clip was damaged: its warnings tell */
  bool cancelled = false;                     /**< some outputs may be missing */
};

/** Checks all units and writes the outputs: clips by copying packets, with sound and all else from their source. Writes nothing
 * if a unit is missing (kInputOutput) or damaged. hooks.on_frame: frames joined. */
VORIN_MEDIA_API JobJoin joinJob(const std::filesystem::path& job, const JobHooks& hooks = {});

} // namespace vorin::media

#endif
