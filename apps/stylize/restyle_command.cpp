#include "batch.h"

#include "argument_checks.h"
#include "commands.h"
#include "image_file.h"
#include "output_file.h"
#include "output_path.h"
#include "painter.h"
#include "photo_list.h"
#include "quoted_name.h"
#include "run_report.h"
#include "utf8_path.h"

#include <algorithm>
#include <map>
#include <new>
#include <set>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;
using Outcome = PhotoResult::Outcome;

Failure unwritable(const fs::path& folder, const std::string& why) {
  return {ExitStatus::kInputOutput,
          "the folder " + base::quotedPath(folder) + " cannot be made (" + why + "): choose another one"};
}

void makeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  std::error_code ignored;
  if (!fs::is_directory(folder, ignored)) {
    throw unwritable(folder, error ? error.message() : "there is a file of that name");
  }
}

Failure amongThePhotos(const fs::path& name) {
  return usage("the drawings would lie among the photos of " + base::quotedPath(name) + ": name another folder with -o");
}

// The photos and where their drawings go; nothing is known to be wrong with any so far.
std::vector<PhotoResult> plan(const Arguments& arguments) {
  std::error_code error;
  for (const fs::path& name : arguments.photos) {
    if (fs::is_directory(name, error) && fs::equivalent(name, arguments.output, error)) {
      throw amongThePhotos(name);
    }
  }
  std::vector<PhotoResult> planned;
  std::map<fs::path, fs::path> inputs;
  const PhotoList listed = listPhotos(arguments.photos, arguments.output);
  for (const ListedPhoto& photo : listed.photos) {
    const fs::path output = drawingFile(photo, arguments.output, arguments.to);
    const auto [other, is_new] = inputs.emplace(output, photo.file);
    if (!is_new) {
      throw usage(base::quotedPath(other->second) + " and " + base::quotedPath(photo.file) + " would both be drawn into " +
                  base::quotedPath(output) + ": leave --to out, or draw one of them alone");
    }
    if (fs::equivalent(photo.file, output, error)) {
      throw amongThePhotos(photo.file);
    }
    planned.push_back({photo.file, output, Outcome::kDone, {}, 0, 0, {}, {}});
  }
  if (planned.empty()) {
    throw Failure(ExitStatus::kInputOutput, "there is no photo in " + base::quotedPath(arguments.photos.front()) +
                                                (listed.clips_left_out > 0 ? ", only clips, which are drawn one at a time" : "") +
                                                ": name another folder, or see vorin-stylize --help for patterns");
  }
  if (std::none_of(planned.begin(), planned.end(), [&](const auto& each) { return fs::exists(each.input, error) || error; })) {
    throw Failure(ExitStatus::kInputOutput, base::quotedPath(planned.front().input) + " does not exist: check the name");
  }
  tellOfClips(listed);
  return planned;
}

// A photo that is its own drawing counts as none.
bool isDone(const PhotoResult& planned) {
  std::error_code error;
  return fs::is_regular_file(planned.output, error) && !fs::equivalent(planned.input, planned.output, error);
}

void removeLeftovers(const std::vector<PhotoResult>& planned) {
  std::set<fs::path> folders;
  for (const PhotoResult& each : planned) {
    folders.insert(each.output.parent_path());
  }
  for (const fs::path& folder : folders) {
    base::removeTemporariesIn(folder);
  }
}

void drawPhoto(const Arguments& arguments, Painter& painter, PhotoResult& result) {
  requireNoClip(result.input);
  const cv::Mat photo = readPicture(result.input);
  if (!isPictureName(result.output)) { // an extension that is read, but not written on this system
    throw Failure(ExitStatus::kInputOutput,
                  base::quotedPath(result.output) + " is of a kind that cannot be written here: add --to png");
  }
  requireFits(result.output, arguments.size.value_or(photo.size()));
  makeFolder(result.output.parent_path());
  base::OutputFile output(result.output, arguments.overwrite);
  const Drawing drawing = painter.paint(photo);
  output.write(encodePicture(result.output, drawing.bgr));
  output.commit();
  result.size = drawing.bgr.size();
  result.elapsed_ms = drawing.elapsed_ms;
  result.load_ms = drawing.load_ms;
}

// Any failure is this photo's own.
void tryToDraw(const Arguments& arguments, Painter& painter, PhotoResult& result) {
  try {
    drawPhoto(arguments, painter, result);
    return;
  } catch (const Failure& failure) {
    result.error = failure.what();
  } catch (const base::OutputError& error) {
    result.error = error.what();
  } catch (const std::bad_alloc&) {
    result.error = base::quotedPath(result.input) + " takes more memory than there is: use a smaller image";
  } catch (const std::exception& error) {
    result.error = base::quotedPath(result.input) + " cannot be drawn (" + error.what() + "): use another image";
  }
  result.outcome = Outcome::kFailed;
}

std::string countText(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " photo" : " photos");
}

// The summary, and the names of those that failed.
ExitStatus conclude(const Arguments& arguments, const std::vector<PhotoResult>& results) {
  const auto count = [&](Outcome outcome) {
    const auto number = std::count_if(results.begin(), results.end(), [&](const auto& each) { return each.outcome == outcome; });
    return static_cast<std::size_t>(number);
  };
  const std::size_t failed = count(Outcome::kFailed);
  if (!arguments.quiet) {
    const std::size_t skipped = count(Outcome::kSkipped);
    printLine(base::utf8Text(arguments.output) + ": " + countText(count(Outcome::kDone)) + " drawn" +
              (skipped > 0 ? ", " + std::to_string(skipped) + " there already" : "") +
              (failed > 0 ? ", " + std::to_string(failed) + " failed:" : ""));
  }
  for (const PhotoResult& result : results) {
    if (result.outcome == Outcome::kFailed) {
      printLine("failed: " + base::quotedPath(result.input));
    }
  }
  return failed > 0 ? ExitStatus::kSomeInputsFailed : ExitStatus::kDone;
}

// Those that are not done yet, one after the other.
Headline drawAll(const Arguments& arguments, std::vector<PhotoResult>& results) {
  Painter painter(arguments, toolsForStyle(arguments));
  painter.prepare(*arguments.style);
  Headline headline = painter.headline();
  if (!arguments.quiet) {
    printLine(headline.text());
  }
  const auto skipped =
      std::count_if(results.begin(), results.end(), [](const auto& each) { return each.outcome == Outcome::kSkipped; });
  const ProgressKind kind = progressKind(arguments.progress, arguments.quiet);
  const std::int64_t total = static_cast<std::int64_t>(results.size()) - skipped;
  Progress progress(kind, "photos", total);
  std::int64_t done = 0;
  for (PhotoResult& result : results) {
    if (result.outcome == Outcome::kSkipped) {
      continue;
    }
    tryToDraw(arguments, painter, result);
    if (result.outcome == Outcome::kFailed) {
      progress.say(result.error);
    }
    progress.update(++done);
  }
  progress.finish();
  return headline;
}

} // namespace

ExitStatus stylizeMany(const Arguments& arguments) {
  std::vector<PhotoResult> results = plan(arguments);
  makeFolder(arguments.output);
  if (arguments.resume) {
    removeLeftovers(results);
    for (PhotoResult& result : results) {
      result.outcome = isDone(result) ? Outcome::kSkipped : Outcome::kDone;
    }
  }
  const bool all_done =
      std::all_of(results.begin(), results.end(), [](const auto& each) { return each.outcome == Outcome::kSkipped; });
  std::optional<Headline> headline;
  if (!all_done) {
    headline = drawAll(arguments, results);
  }
  const ExitStatus status = conclude(arguments, results);
  if (arguments.json) {
    printRun(headline ? &*headline : nullptr, results, status);
  }
  return status;
}

} // namespace vorin::stylize
