#include "photo_list.h"

#include "argument_checks.h"
#include "utf8_path.h"
#include "wildcard.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 5> kPhotoExtensions = {".png", ".jpg", ".jpeg", ".webp", ".bmp"};

bool isPhotoName(const fs::path& file) {
  const std::string extension = tools::lowerCaseExtension(file);
  return std::find(kPhotoExtensions.begin(), kPhotoExtensions.end(), extension) != kPhotoExtensions.end();
}

bool isPattern(const fs::path& name) {
  std::error_code error;
  return hasWildcard(name) && !fs::exists(name, error);
}

bool isHidden(const fs::path& file) {
  return tools::utf8Text(file.filename()).starts_with('.');
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

// Adds the photos below the folder. A folder that cannot be read is added itself, so that it is told of: it fails as a photo.
void walk(const fs::path& folder, const fs::path& left_out, std::vector<fs::path>& found) {
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
    const fs::path& path = entry->path();
    std::error_code ignored;
    if (isHidden(path)) {
      continue;
    }
    if (!entry->is_directory(ignored)) {
      if (isPhotoName(path)) {
        found.push_back(path);
      }
    } else if (!entry->is_symlink(ignored) && !fs::equivalent(path, left_out, ignored)) {
      walk(path, left_out, found);
    }
  }
  if (error) {
    found.push_back(folder);
  }
}

struct Named {
  fs::path root;
  std::vector<fs::path> files;
};

Named expanded(const fs::path& name, const fs::path& left_out) {
  Named named;
  if (tools::isFolder(name)) {
    named.root = name;
    walk(name, left_out, named.files);
  } else if (isPattern(name)) {
    named.root = folderOfPattern(name);
    const bool begins_there = liesBelow(named.root, left_out);
    for (const fs::path& found : expandWildcards(name)) {
      if (!begins_there && liesBelow(found, left_out)) {
        continue;
      }
      if (tools::isFolder(found)) {
        walk(found, left_out, named.files);
      } else if (isPhotoName(found)) {
        named.files.push_back(found);
      }
    }
    if (named.files.empty()) {
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
         std::any_of(names.begin(), names.end(), [](const fs::path& name) { return tools::isFolder(name) || isPattern(name); });
}

std::vector<ListedPhoto> listPhotos(const std::vector<fs::path>& names, const fs::path& left_out) {
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
  std::vector<ListedPhoto> photos;
  std::set<fs::path> listed; // names may overlap
  for (const Named& named : all) {
    for (const fs::path& file : named.files) {
      const fs::path whole = plain(file);
      if (listed.insert(whole).second) {
        photos.push_back({file, whole.lexically_relative(root)});
      }
    }
  }
  return photos;
}

fs::path drawingFile(const ListedPhoto& photo, const fs::path& folder, const std::string& extension) {
  fs::path file = folder / photo.place;
  return extension.empty() ? file : file.replace_extension(extension);
}

} // namespace vorin::stylize
