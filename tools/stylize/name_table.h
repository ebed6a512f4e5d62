// name_table.h: looks up rows of a table by their field `name`, and lists the names for messages.
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

namespace vorin::stylize {

template <typename Row> const Row* findByName(std::span<const Row> table, std::string_view name) {
  const auto row = std::find_if(table.begin(), table.end(), [&](const Row& candidate) { return candidate.name == name; });
  return row == table.end() ? nullptr : &*row;
}

template <typename Row> std::string joinNames(std::span<const Row> table) {
  std::string names;
  for (const Row& row : table) {
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  }
  return names;
}

} // namespace vorin::stylize
