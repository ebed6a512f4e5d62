#include "wildcard.h"

#include "utf8_path.h"

#include <algorithm>
#include <string>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kAnyDepth = "**";

bool isPattern(std::string_view part) {
  return part.find_first_of("*?[") != std::string_view::npos;
}

std::size_t characterBytes(std::string_view text) {
  std::size_t count = 1;
  while (count < text.size() && (static_cast<unsigned char>(text[count]) & 0xC0U) == 0x80) {
    ++count;
  }
  return count;
}

// The range of a pattern that begins with "[": its bytes, or 0 where it has no end and the bracket stands for itself.
std::size_t rangeBytes(std::string_view pattern) {
  const std::size_t first = pattern.starts_with("[!") ? 2 : 1;
  const std::size_t end = pattern.find(']', first + 1); // a bracket in the first place is one of the characters
  return end == std::string_view::npos ? 0 : end + 1;
}

// UTF-8 sorts as its characters do.
bool isInRange(std::string_view character, std::string_view range) {
  const bool is_outside = range.starts_with("[!");
  range = range.substr(is_outside ? 2 : 1);
  range.remove_suffix(1);
  bool found = false;
  while (!range.empty()) {
    const std::string_view first = range.substr(0, characterBytes(range));
    range.remove_prefix(first.size());
    std::string_view last = first;
    if (range.size() > 1 && range.front() == '-') {
      range.remove_prefix(1);
      last = range.substr(0, characterBytes(range));
      range.remove_prefix(last.size());
    }
    found = found || (character >= first && character <= last);
  }
  return found != is_outside;
}

std::vector<fs::path> sortedEntries(const fs::path& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end; entry.increment(error)) {
    entries.push_back(folder / entry->path().filename());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

using Part = fs::path::const_iterator;

// Adds to found what there is below the folder of the rest of the pattern.
void expand(const fs::path& folder, Part part, Part end, std::vector<fs::path>& found) {
  std::error_code error;
  if (part == end) {
    found.push_back(folder);
    return;
  }
  const std::string pattern = base::utf8Text(*part);
  const Part next = std::next(part);
  if (!isPattern(pattern)) {
    if (fs::exists(folder / *part, error)) {
      expand(folder / *part, next, end, found);
    }
    return;
  }
  if (pattern == kAnyDepth && next != end) {
    expand(folder, next, end, found);
  }
  for (const fs::path& entry : sortedEntries(folder)) {
    const std::string name = base::utf8Text(entry.filename());
    if (pattern == kAnyDepth && next != end) {
      if (!name.starts_with('.') && fs::is_directory(entry, error) && !fs::is_symlink(entry, error)) {
        expand(entry, part, end, found);
      }
    } else if (matchesWildcard(name, pattern) && (next == end || fs::is_directory(entry, error))) {
      expand(entry, next, end, found);
    }
  }
}

} // namespace

bool hasWildcard(const fs::path& pattern) {
  return isPattern(base::utf8Text(pattern));
}

bool matchesWildcard(std::string_view name, std::string_view pattern) {
  if (name.starts_with('.') && !pattern.starts_with('.')) {
    return false;
  }
  std::string_view name_after_star;    // where to go on when the last * has to take one character more
  std::string_view pattern_after_star; // null data: there was no * yet
  for (;;) {
    const std::size_t range = pattern.starts_with('[') ? rangeBytes(pattern) : 0;
    const std::size_t character = name.empty() ? 0 : characterBytes(name);
    if (pattern.starts_with('*')) {
      pattern.remove_prefix(1);
      name_after_star = name;
      pattern_after_star = pattern;
    } else if (name.empty() && pattern.empty()) {
      return true;
    } else if (!name.empty() && range > 0 && isInRange(name.substr(0, character), pattern.substr(0, range))) {
      name.remove_prefix(character);
      pattern.remove_prefix(range);
    } else if (!name.empty() && pattern.starts_with('?')) {
      name.remove_prefix(character);
      pattern.remove_prefix(1);
    } else if (!name.empty() && range == 0 && pattern.starts_with(name.front())) {
      name.remove_prefix(1);
      pattern.remove_prefix(1);
    } else if (pattern_after_star.data() != nullptr && !name_after_star.empty()) {
      name_after_star.remove_prefix(characterBytes(name_after_star));
      name = name_after_star;
      pattern = pattern_after_star;
    } else {
      return false;
    }
  }
}

fs::path folderOfPattern(const fs::path& pattern) {
  fs::path folder;
  for (const fs::path& part : pattern) {
    if (isPattern(base::utf8Text(part))) {
      break;
    }
    folder /= part;
  }
  return folder;
}

std::vector<fs::path> expandWildcards(const fs::path& pattern) {
  std::vector<fs::path> found;
  const fs::path below_root = pattern.relative_path(); // a drive alone, as "C:", is no folder that could be asked for
  expand(pattern.root_path(), below_root.begin(), below_root.end(), found);
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end()); // ** twice leads to a file twice
  return found;
}

} // namespace vorin::stylize
