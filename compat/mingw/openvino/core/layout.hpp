// layout.hpp: the meanings of a tensor's dimensions, in letters such as "NHWC". Behind it: ov_layout_create, ov_layout_to_string
// and ov_layout_free.
//
// The C API does not report which layout an input declares: get_layout returns the one that the network's description declares
// (binding/ir_inputs.hpp), also after pre-processing has set another one.
#pragma once

#include <openvino/binding/handle.hpp>
#include <openvino/core/node_output.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

namespace ov {

class Layout {
public:
  Layout() : Layout("...") {}
  Layout(const char* text) : handle_(binding::make(ov_layout_free, ov_layout_create, text)) {}
  explicit Layout(const std::string& text) : Layout(text.c_str()) {}

  std::string to_string() const { return binding::takeText(ov_layout_to_string(handle_.get())); }
  bool empty() const { return to_string() == Layout().to_string(); }
  bool operator==(const Layout& other) const { return to_string() == other.to_string(); }
  ov_layout_t* handle() const { return handle_.get(); }

private:
  std::shared_ptr<ov_layout_t> handle_;
};

namespace layout {
namespace detail {

// The dimensions' names, of the runtime's form "[N,...,C]".
inline std::vector<std::string> namesOf(const Layout& layout) {
  const std::string text = layout.to_string();
  std::vector<std::string> names(1);
  for (const char character : text.substr(1, text.size() - 2)) {
    if (character == ',') {
      names.emplace_back();
    } else {
      names.back().push_back(character);
    }
  }
  return names;
}

} // namespace detail

inline bool has_channels(const Layout& layout) {
  const std::vector<std::string> names = detail::namesOf(layout);
  return std::find(names.begin(), names.end(), "C") != names.end();
}

// Behind an ellipsis it counts from the end, below zero.
inline std::int64_t channels_idx(const Layout& layout) {
  const std::vector<std::string> names = detail::namesOf(layout);
  const auto channels = std::find(names.begin(), names.end(), "C");
  if (channels == names.end()) {
    throw Exception("C dimension index is not defined");
  }
  const bool is_behind_ellipsis = std::find(names.begin(), channels, "...") != channels;
  return channels - (is_behind_ellipsis ? names.end() : names.begin());
}

inline Layout get_layout(const Output<const Node>& port) {
  return Layout(port.declared_layout());
}

} // namespace layout
} // namespace ov
