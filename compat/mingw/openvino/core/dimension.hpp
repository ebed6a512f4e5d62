// dimension.hpp: one size of a tensor, or the range in which it lies. The C API has it as a pair of numbers, ov_dimension_t, in
// which a range without end ends at -1.
#pragma once

#include <openvino/core/except.hpp>

#include <cstdint>
#include <ostream>
#include <string>

namespace ov {

class Dimension {
public:
  using value_type = std::int64_t;

  Dimension() = default;
  Dimension(value_type length) : Dimension(length, length) {}
  Dimension(value_type shortest, value_type longest)
      : shortest_(shortest < 0 ? 0 : shortest), longest_(longest < 0 ? kEndless : longest) {}

  bool operator==(const Dimension& other) const = default;
  bool is_static() const { return shortest_ == longest_; }
  bool is_dynamic() const { return !is_static(); }
  value_type get_min_length() const { return shortest_; }
  value_type get_max_length() const { return longest_; }

  // Whether the two can be the same size.
  bool compatible(const Dimension& other) const {
    return (other.longest_ == kEndless || shortest_ <= other.longest_) && (longest_ == kEndless || other.shortest_ <= longest_);
  }

  std::string to_string() const {
    if (is_static()) {
      return std::to_string(shortest_);
    }
    if (shortest_ == 0 && longest_ == kEndless) {
      return "?";
    }
    std::string text = shortest_ == 0 ? "" : std::to_string(shortest_);
    text += "..";
    return longest_ == kEndless ? text : text + std::to_string(longest_);
  }

  static Dimension dynamic() { return {}; }

private:
  static constexpr value_type kEndless = -1;

  value_type shortest_ = 0;
  value_type longest_ = kEndless;
};

inline std::ostream& operator<<(std::ostream& stream, const Dimension& dimension) {
  return stream << dimension.to_string();
}

using Rank = Dimension;

} // namespace ov
