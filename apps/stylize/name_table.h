// name_table.h: looks up rows of a table by their field `name`, and lists the names for messages.
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorin::stylize {

template <typename Row> const Row* findByName(std::span<const Row> table, std::string_view name) {
  const auto row = std::find_if(table.begin(), table.end(), [&](const Row& candidate) { return candidate.name == name; });
  return row == table.end() ? nullptr : &*row;
}

inline std::string joinTexts(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined.append(joined.empty() ? "" : ", ").append(text);
  }
  return joined;
}

template <typename Row> std::vector<std::string> namesOf(std::span<const Row> table) {
  std::vector<std::string> names;
  for (const Row& row : table) {
    names.emplace_back(row.name);
  }
  return names;
}

template <typename Row> std::string joinNames(std::span<const Row> table) {
  return joinTexts(namesOf(table));
}

} // namespace vorin::stylize
