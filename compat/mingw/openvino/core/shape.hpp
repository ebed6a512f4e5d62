// shape.hpp: the sizes of a tensor, and how they cross the C API: ov_shape_t, freed by ov_shape_free.
#pragma once

#include <openvino/binding/status.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

namespace ov {
namespace binding {

// The position of an index, which may count from the end.
inline std::size_t positionOf(std::ptrdiff_t index, std::size_t size) {
  const std::ptrdiff_t position = index < 0 ? index + static_cast<std::ptrdiff_t>(size) : index;
  if (position < 0 || position >= static_cast<std::ptrdiff_t>(size)) {
    throw Exception("Accessing out-of-range dimension");
  }
  return static_cast<std::size_t>(position);
}

// The entries' texts as the runtime writes a shape.
template <typename Entries, typename TextOf> std::string bracketed(const Entries& entries, TextOf text_of) {
  std::string text = "[";
  for (const auto& entry : entries) {
    if (text.size() > 1) {
      text += ',';
    }
    text += text_of(entry);
  }
  text += ']';
  return text;
}

} // namespace binding

class Shape : public std::vector<std::size_t> {
public:
  Shape() = default;
  Shape(std::initializer_list<std::size_t> lengths) : std::vector<std::size_t>(lengths) {}
  Shape(const std::vector<std::size_t>& lengths) : std::vector<std::size_t>(lengths) {}
  template <typename Iterator> Shape(Iterator first, Iterator last) : std::vector<std::size_t>(first, last) {}

  reference operator[](std::ptrdiff_t index) { return at(index); }
  const_reference operator[](std::ptrdiff_t index) const { return at(index); }
  reference at(std::ptrdiff_t index) { return data()[binding::positionOf(index, size())]; }
  const_reference at(std::ptrdiff_t index) const { return data()[binding::positionOf(index, size())]; }

  std::string to_string() const {
    return binding::bracketed(*this, [](std::size_t length) { return std::to_string(length); });
  }
};

inline std::ostream& operator<<(std::ostream& stream, const Shape& shape) {
  return stream << shape.to_string();
}

inline std::size_t shape_size(const Shape& shape) {
  return std::accumulate(shape.begin(), shape.end(), std::size_t{1}, std::multiplies<>());
}

namespace binding {

// Converts a shape for the C API.
class ShapeArgument {
public:
  explicit ShapeArgument(const Shape& shape) : lengths_(shape.begin(), shape.end()) {}
  ov_shape_t get() { return {static_cast<std::int64_t>(lengths_.size()), lengths_.data()}; }

private:
  std::vector<std::int64_t> lengths_;
};

// Calls `query`, whose last parameter receives a shape, for the handle and returns the shape.
template <typename Query, typename Handle> Shape shapeFrom(Query query, const Handle* handle) {
  ov_shape_t shape = {0, nullptr};
  check(query(handle, &shape));
  const std::unique_ptr<ov_shape_t, void (*)(ov_shape_t*)> owned(&shape, [](ov_shape_t* owner) { ov_shape_free(owner); });
  return {shape.dims, shape.dims + shape.rank};
}

} // namespace binding
} // namespace ov
