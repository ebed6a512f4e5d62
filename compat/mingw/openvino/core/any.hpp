// any.hpp: a property's value. The C API passes all values as text, so this class holds text: constructors write it, as<T>()
// reads it. Unlike the original's, as<T>() returns a value, not a reference into the object.
#pragma once

#include <openvino/core/except.hpp>
#include <openvino/core/type/element_type.hpp>

#include <concepts>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace ov {

class Any {
public:
  Any() = default;
  Any(const char* text) : text_(text) {}
  Any(std::string text) : text_(std::move(text)) {}
  Any(const element::Type& type) : text_(type.to_string()) {}
  Any(std::same_as<bool> auto value) : text_(value ? "YES" : "NO") {}
  template <typename Number>
  requires std::is_arithmetic_v<Number> Any(Number value) : text_(textOf(value)) {}

  bool empty() const { return text_.empty(); }

  template <typename T> T as() const {
    if constexpr (std::is_same_v<T, std::string>) {
      return text_;
    } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
      std::istringstream words(text_);
      return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
    } else if constexpr (std::is_same_v<T, element::Type>) {
      return element::Type(text_);
    } else if constexpr (std::is_same_v<T, bool>) {
      return asBool();
    } else {
      static_assert(std::is_arithmetic_v<T>, "not a type of property values that this project uses");
      return asNumber<T>();
    }
  }

private:
  static std::string textOf(auto value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
  }

  bool asBool() const {
    const bool is_true = text_ == "YES" || text_ == "true" || text_ == "1";
    if (!is_true && text_ != "NO" && text_ != "false" && text_ != "0") {
      throw Exception("Could not convert to bool from string " + text_);
    }
    return is_true;
  }

  template <typename T> T asNumber() const {
    std::istringstream stream(text_);
    T value{};
    if (!(stream >> value)) {
      throw Exception("Could not convert to a number from string \"" + text_ + '"');
    }
    return value;
  }

  std::string text_;
};

using AnyMap = std::map<std::string, Any>;

} // namespace ov
