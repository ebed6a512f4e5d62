#include "photo_list.h"

#include "argument_checks.h"
#include "clip_command.h"
#include "commands.h"
#include "image_file.h"
#include "quoted_name.h"
#include "utf8_path.h"
#include "wildcard.h"

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 5> kPhotoExtensions = {".png", ".jpg", ".jpeg", ".webp", ".bmp"};
constexpr std::array<std::string_view, 12> kClipExtensions = {".avi", ".flv",  ".m4v", ".mkv", ".mov",  ".mp4",
                                                              ".mpg", ".mpeg", ".mts", ".ogv", ".webm", ".wmv"};

bool hasOneOf(std::span<const std::string_view> extensions, const fs::path& file) {
  return std::find(extensions.begin(), extensions.end(), base::lowerCaseExtension(file)) != extensions.end();
}

// And clips are drawn on this system.
bool hasClipExtension(const fs::path& file) {
  return !clipExtensions().empty() && hasOneOf(kClipExtensions, file);
}

bool isPattern(const fs::path& name) {
  std::error_code error;
  return hasWildcard(name) && !fs::exists(name, error);
}

bool isHidden(const fs::path& file) {
  return base::utf8Text(file.filename()).starts_with('.');
}

// Without "." and "..", and without a separator at the end.
fs::path plain(const fs::path& path) {
  const fs::path absolute = fs::absolute(path.empty() ? "." : path).lexically_normal();
  return absolute.has_filename() ? absolute : absolute.parent_path();
}

// The folder itself counts.
bool liesBelow(const fs::path& file, const fs::path& folder) {
  const fs::path whole = plain(file);
  const fs::path above = plain(folder);
  return std::mismatch(above.begin(), above.end(), whole.begin(), whole.end()).first == above.end();
}

struct Named {
  fs::path root;
  std::vector<fs::path> files;
  std::set<fs::path> clips; // that are no photos, and so left out
};

void sortIn(const fs::path& file, Named& found) {
  if (hasOneOf(kPhotoExtensions, file)) {
    found.files.push_back(file);
  } else if (hasClipExtension(file)) {
    found.clips.insert(plain(file));
  }
}

// Adds the photos below the folder. A folder that cannot be read is added itself, so that it is told of: it fails as a photo.
void walk(const fs::path& folder, const fs::path& left_out, Named& found) {
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
    const fs::path& path = entry->path();
    std::error_code ignored;
    if (isHidden(path)) {
      continue;
    }
    if (!entry->is_directory(ignored)) {
      sortIn(path, found);
    } else if (!entry->is_symlink(ignored) && !fs::equivalent(path, left_out, ignored)) {
      walk(path, left_out, found);
    }
  }
  if (error) {
    found.files.push_back(folder);
  }
}

Named expanded(const fs::path& name, const fs::path& left_out) {
  Named named;
  if (base::isFolder(name)) {
    named.root = name;
    walk(name, left_out, named);
  } else if (isPattern(name)) {
    named.root = folderOfPattern(name);
    const bool begins_there = liesBelow(named.root, left_out);
    for (const fs::path& found : expandWildcards(name)) {
      if (!begins_there && liesBelow(found, left_out)) {
        continue;
      }
      if (base::isFolder(found)) {
        walk(found, left_out, named);
      } else {
        sortIn(found, named);
      }
    }
    if (named.files.empty() && named.clips.empty()) {
      named.files.push_back(name);
    }
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

} // namespace

bool namesSeveral(const std::vector<fs::path>& names) {
  return names.size() > 1 ||
         std::any_of(names.begin(), names.end(), [](const fs::path& name) { return base::isFolder(name) || isPattern(name); });
}

void requireNoClip(const fs::path& file) {
  requireExists(file);
  if (hasClipExtension(file)) {
    throw Failure(ExitStatus::kInputOutput,
                  base::quotedPath(file) + " is a clip: draw it on its own, and name the output like a clip, as out.mp4");
  }
}

PhotoList listPhotos(const std::vector<fs::path>& names, const fs::path& left_out) {
  std::vector<Named> all;
  fs::path root;
  for (const fs::path& name : names) {
    all.push_back(expanded(name, left_out));
    const fs::path own = plain(all.back().root);
    root = all.size() == 1 ? own : commonFolder(root, own);
    if (root.empty()) {
      throw usage("the photos lie on several drives, which have no folder in common: draw those of one drive at a time");
    }
  }
  PhotoList list;
  std::set<fs::path> clips;
  std::set<fs::path> listed; // names may overlap
  for (const Named& named : all) {
    clips.insert(named.clips.begin(), named.clips.end());
    for (const fs::path& file : named.files) {
      const fs::path whole = plain(file);
      if (listed.insert(whole).second) {
        list.photos.push_back({file, whole.lexically_relative(root)});
      }
    }
  }
  list.clips_left_out = clips.size();
  return list;
}

void tellOfClips(const PhotoList& list) {
  if (list.clips_left_out > 0) {
    printLine(std::to_string(list.clips_left_out) + (list.clips_left_out == 1 ? " clip" : " clips") +
              " left out of folders: clips are drawn one at a time");
  }
}

fs::path drawingFile(const ListedPhoto& photo, const fs::path& folder, const std::string& extension) {
  fs::path file = folder / photo.place;
  return extension.empty() ? file : file.replace_extension(extension);
}

} // namespace vorin::stylize
