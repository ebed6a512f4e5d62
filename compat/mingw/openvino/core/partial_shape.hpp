// partial_shape.hpp: the sizes of a tensor as far as they are known, and how they cross the C API: ov_partial_shape_t, freed by
// ov_partial_shape_free. ov_partial_shape_create is not used, because it refuses a shape without dimensions.
#pragma once

#include <openvino/core/dimension.hpp>
#include <openvino/core/shape.hpp>

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace ov {

class PartialShape {
public:
  using value_type = Dimension;
  using iterator = std::vector<Dimension>::iterator;
  using const_iterator = std::vector<Dimension>::const_iterator;

  PartialShape() = default;
  PartialShape(std::initializer_list<Dimension> dimensions) : dimensions_(dimensions) {}
  PartialShape(std::vector<Dimension> dimensions) : dimensions_(std::move(dimensions)) {}
  PartialShape(const Shape& shape) {
    std::transform(shape.begin(), shape.end(), std::back_inserter(dimensions_),
                   [](std::size_t length) { return Dimension(static_cast<std::int64_t>(length)); });
  }

  // A shape of any number of dimensions.
  static PartialShape dynamic() {
    PartialShape shape;
    shape.has_rank_ = false;
    return shape;
  }

  bool operator==(const PartialShape& other) const = default;
  bool is_dynamic() const { return !is_static(); }
  bool is_static() const {
    return has_rank_ && std::all_of(begin(), end(), [](const Dimension& dimension) { return dimension.is_static(); });
  }

  Rank rank() const { return has_rank_ ? Rank(static_cast<std::int64_t>(dimensions_.size())) : Rank::dynamic(); }
  std::size_t size() const {
    if (!has_rank_) {
      throw Exception("Check 'rank().is_static()' failed");
    }
    return dimensions_.size();
  }
  Dimension& operator[](std::ptrdiff_t index) { return dimensions_[binding::positionOf(index, size())]; }
  const Dimension& operator[](std::ptrdiff_t index) const { return dimensions_[binding::positionOf(index, size())]; }
  iterator begin() { return dimensions_.begin(); }
  iterator end() { return dimensions_.end(); }
  const_iterator begin() const { return dimensions_.begin(); }
  const_iterator end() const { return dimensions_.end(); }

  std::string to_string() const {
    return has_rank_ ? binding::bracketed(*this, [](const Dimension& dimension) { return dimension.to_string(); }) : "[...]";
  }

private:
  bool has_rank_ = true;
  std::vector<Dimension> dimensions_;
};

inline std::ostream& operator<<(std::ostream& stream, const PartialShape& shape) {
  return stream << shape.to_string();
}

namespace binding {

// Converts a shape for the C API.
class PartialShapeArgument {
public:
  explicit PartialShapeArgument(const PartialShape& shape) : rank_(toC(shape.rank())) {
    std::transform(shape.begin(), shape.end(), std::back_inserter(dimensions_), toC);
  }
  ov_partial_shape_t get() { return {rank_, dimensions_.data()}; }

private:
  static ov_dimension_t toC(const Dimension& dimension) { return {dimension.get_min_length(), dimension.get_max_length()}; }

  ov_rank_t rank_;
  std::vector<ov_dimension_t> dimensions_;
};

inline PartialShape partialShapeOf(const ov_output_const_port_t* port) {
  ov_partial_shape_t shape = {{0, 0}, nullptr};
  check(ov_port_get_partial_shape(port, &shape));
  const std::unique_ptr<ov_partial_shape_t, void (*)(ov_partial_shape_t*)> owned(
      &shape, [](ov_partial_shape_t* owner) { ov_partial_shape_free(owner); });
  if (shape.rank.min != shape.rank.max) { // ov_rank_is_dynamic also says so of a shape without dimensions
    return PartialShape::dynamic();
  }
  std::vector<Dimension> dimensions;
  std::transform(shape.dims, shape.dims + shape.rank.max, std::back_inserter(dimensions),
                 [](const ov_dimension_t& dimension) { return Dimension(dimension.min, dimension.max); });
  return dimensions;
}

} // namespace binding
} // namespace ov
