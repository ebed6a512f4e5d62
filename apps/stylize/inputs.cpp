#include "options.h"
#include "output_file.h"
#include "restyling.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 8> kImageExtensions = {".png", ".jpg", ".jpeg", ".webp", ".bmp", ".tif", ".tiff", ".gif"};
constexpr std::array<std::string_view, 3> kOnlyRead = {".tif", ".tiff", ".gif"};
constexpr std::array<std::string_view, 12> kClipExtensions = {".avi", ".flv",  ".m4v", ".mkv", ".mov",  ".mp4",
                                                              ".mpg", ".mpeg", ".mts", ".ogv", ".webm", ".wmv"};

bool hasOneOf(std::span<const std::string_view> extensions, const fs::path& file) {
  return std::find(extensions.begin(), extensions.end(), base::lowerCaseExtension(file)) != extensions.end();
}

bool hasClipExtension(const fs::path& file) {
  return hasOneOf(kClipExtensions, file);
}

bool isHidden(const fs::path& file) {
  return base::utf8Text(file.filename()).starts_with('.');
}

// The absolute path without "." and "..", and without a separator at the end.
fs::path plain(const fs::path& path) {
  const fs::path absolute = fs::absolute(path.empty() ? "." : path).lexically_normal();
  return absolute.has_filename() ? absolute : absolute.parent_path();
}

struct Named {
  fs::path root;
  std::vector<fs::path> files;
};

struct Walk {
  const fs::path& left_out;
  bool with_clips;
  std::map<std::string, int> other_kinds;
};

void walk(const fs::path& folder, Walk& how, std::vector<fs::path>& found) {
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
    const fs::path& path = entry->path();
    std::error_code ignored;
    if (isHidden(path)) {
      continue;
    }
    if (!entry->is_directory(ignored)) {
      if (hasOneOf(kImageExtensions, path) || (how.with_clips && hasClipExtension(path))) {
        found.push_back(path);
      } else {
        ++how.other_kinds[base::lowerCaseExtension(path)];
      }
    } else if (!entry->is_symlink(ignored) && !fs::equivalent(path, how.left_out, ignored)) {
      walk(path, how, found);
    }
  }
  if (error) {
    found.push_back(folder);
  }
}

Named listed(const fs::path& name, Walk& how) {
  Named named;
  if (base::isFolder(name)) {
    named.root = name;
    walk(name, how, named.files);
  } else {
    named.root = name.parent_path();
    named.files.push_back(name);
  }
  std::sort(named.files.begin(), named.files.end());
  return named;
}

fs::path commonFolder(const fs::path& a, const fs::path& b) {
  fs::path common;
  for (auto [in_a, in_b] = std::pair(a.begin(), b.begin()); in_a != a.end() && in_b != b.end() && *in_a == *in_b;
       ++in_a, ++in_b) {
    common /= *in_a;
  }
  return common;
}

// Whether a clip of this name can hold what the options ask for. Their quality is checked with the result's own name.
bool canHold(const fs::path& clip, media::SinkOptions options) {
  options.crf.reset();
  try {
    media::checkClipOptions(clip, options);
    return true;
  } catch (const Error&) {
    return false;
  }
}

} // namespace

bool nameSeveral(const std::vector<fs::path>& names) {
  return names.size() > 1 || std::any_of(names.begin(), names.end(), base::isFolder);
}

std::vector<Input> listInputs(const std::vector<fs::path>& names, const fs::path& left_out, bool with_clips,
                              std::map<std::string, int>* other_kinds) {
  Walk how = {left_out, with_clips, {}};
  std::vector<Named> all;
  fs::path root;
  for (const fs::path& name : names) {
    all.push_back(listed(name, how));
    const fs::path own = plain(all.back().root);
    root = all.size() == 1 ? own : commonFolder(root, own);
    if (root.empty()) {
      throw Error(ErrorKind::kUsage,
                  "the inputs lie on several drives, which have no folder in common: name those of one drive at a time");
    }
  }
  std::vector<Input> inputs;
  std::set<fs::path> known; // the named folders may overlap
  for (const Named& named : all) {
    for (const fs::path& file : named.files) {
      const fs::path whole = plain(file);
      if (known.insert(whole).second) {
        inputs.push_back({file, whole.lexically_relative(root), hasClipExtension(file)});
      }
    }
  }
  if (other_kinds != nullptr) {
    *other_kinds = how.other_kinds;
  }
  return inputs;
}

fs::path outputFor(const Input& input, const Options& options) {
  fs::path file = options.output / input.place;
  if (input.is_clip) {
    const bool is_kept = media::isClipName(file) && (base::lowerCaseExtension(file) != ".webm" || canHold(file, options.sink));
    return is_kept ? file : file.replace_extension(".mkv");
  }
  if (options.to.empty()) {
    return hasOneOf(kOnlyRead, file) ? file.replace_extension(".png") : file;
  }
  return file.replace_extension(options.to);
}

void removeLeftovers(const Options& options, const fs::path& folder) {
  base::removeTemporariesIn(folder, std::chrono::hours(options.resume ? 0 : 24));
}

} // namespace vorin::stylize
