// element_type.hpp: the types of a tensor's elements. Behind it: ov_element_type_e, whose numbers these are. The properties of
// the types are a table here, since the C API does not report them.
#pragma once

#include <openvino/binding/c_api.hpp>
#include <openvino/core/except.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

namespace ov {
namespace element {

enum class Type_t {
  dynamic = DYNAMIC,
  boolean = OV_BOOLEAN,
  bf16 = BF16,
  f16 = F16,
  f32 = F32,
  f64 = F64,
  i4 = I4,
  i8 = I8,
  i16 = I16,
  i32 = I32,
  i64 = I64,
  u1 = U1,
  u2 = U2,
  u3 = U3,
  u4 = U4,
  u6 = U6,
  u8 = U8,
  u16 = U16,
  u32 = U32,
  u64 = U64,
  nf4 = NF4,
  f8e4m3 = F8E4M3,
  f8e5m2 = F8E5M3,
  string = STRING,
  f4e2m1 = F4E2M1,
  f8e8m0 = F8E8M0,
};

} // namespace element

namespace binding {

struct ElementTypeFacts {
  std::string_view name;
  bool is_real;
};

// The types, by number.
inline constexpr std::array<ElementTypeFacts, 26> kElementTypes = {{
    {"dynamic", false}, {"boolean", false}, {"bf16", true},    {"f16", true},    {"f32", true},    {"f64", true},  {"i4", false},
    {"i8", false},      {"i16", false},     {"i32", false},    {"i64", false},   {"u1", false},    {"u2", false},  {"u3", false},
    {"u4", false},      {"u6", false},      {"u8", false},     {"u16", false},   {"u32", false},   {"u64", false}, {"nf4", false},
    {"f8e4m3", true},   {"f8e5m2", true},   {"string", false}, {"f4e2m1", true}, {"f8e8m0", true},
}};

} // namespace binding

namespace element {

class Type {
public:
  constexpr Type() = default;
  constexpr Type(Type_t type) : type_(type) {}

  explicit Type(const std::string& name) {
    const auto found = std::find_if(binding::kElementTypes.begin(), binding::kElementTypes.end(),
                                    [&](const binding::ElementTypeFacts& facts) { return facts.name == name; });
    if (found == binding::kElementTypes.end()) {
      throw Exception("Incorrect type: " + name);
    }
    type_ = static_cast<Type_t>(found - binding::kElementTypes.begin());
  }

  constexpr operator Type_t() const { return type_; }
  bool is_static() const { return type_ != Type_t::dynamic; }
  bool is_dynamic() const { return !is_static(); }
  bool is_real() const { return facts().is_real; }
  std::string to_string() const { return std::string(facts().name); }

private:
  const binding::ElementTypeFacts& facts() const { return binding::kElementTypes.at(static_cast<std::size_t>(type_)); }

  Type_t type_ = Type_t::dynamic;
};

inline std::ostream& operator<<(std::ostream& stream, const Type& type) {
  return stream << type.to_string();
}

inline constexpr Type dynamic(Type_t::dynamic);
inline constexpr Type boolean(Type_t::boolean);
inline constexpr Type bf16(Type_t::bf16);
inline constexpr Type f16(Type_t::f16);
inline constexpr Type f32(Type_t::f32);
inline constexpr Type f64(Type_t::f64);
inline constexpr Type i8(Type_t::i8);
inline constexpr Type i32(Type_t::i32);
inline constexpr Type i64(Type_t::i64);
inline constexpr Type u8(Type_t::u8);
inline constexpr Type u16(Type_t::u16);

// The type of tensors whose elements are held as T.
template <typename T> constexpr Type from() {
  if constexpr (std::is_same_v<T, float>) {
    return f32;
  } else if constexpr (std::is_same_v<T, double>) {
    return f64;
  } else if constexpr (std::is_same_v<T, std::int8_t>) {
    return i8;
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return i32;
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    return i64;
  } else if constexpr (std::is_same_v<T, std::uint8_t>) {
    return u8;
  } else {
    static_assert(std::is_same_v<T, std::uint16_t>, "not a type of elements that this project uses");
    return u16;
  }
}

} // namespace element

namespace binding {

inline ov_element_type_e toC(const element::Type& type) {
  return static_cast<ov_element_type_e>(static_cast<element::Type_t>(type));
}
inline element::Type fromC(ov_element_type_e type) {
  return static_cast<element::Type_t>(type);
}

} // namespace binding
} // namespace ov
