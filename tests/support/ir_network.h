// Writes a small network as the runtime reads it: a description in XML, version 11, and the weights behind it as bytes. So the
// tests need nothing of the runtime but its reader, on every system. Each layer has one output. The reader infers shapes and
// types, so that only those of inputs and constants are written.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

namespace vorin::tests {

class IrNetwork {
public:
  using Value = std::size_t; // a layer's output, by the layer's number

  // shape: "1,3,?,?", or "..." for any number of dimensions. layout: as the network declares it, such as "[N,C,H,W]".
  Value input(const std::vector<std::string>& names, const std::string& shape, const std::string& element_type = "f32",
              const std::string& layout = "");

  template <typename Number> Value constant(const std::string& shape, const std::vector<Number>& values) {
    std::string type = std::is_floating_point_v<Number> ? "f" : std::is_signed_v<Number> ? "i" : "u";
    type += std::to_string(8 * sizeof(Number));
    return constantOf(type, shape, values.data(), values.size() * sizeof(Number));
  }

  // attributes: XML, such as `axis="1"`. version: that of the operation set in which the runtime finds the operation.
  Value operation(const std::string& type, const std::vector<Value>& arguments, const std::string& attributes = "",
                  int version = 1);

  void output(Value value) { operation("Result", {value}); }

  std::string description() const;
  const std::string& weights() const { return weights_; }

private:
  Value add(const std::string& name, const std::string& type, int version, const std::string& attributes,
            const std::vector<Value>& arguments, const std::string& output_port);
  Value constantOf(const std::string& element_type, const std::string& shape, const void* values, std::size_t size_bytes);

  std::vector<std::size_t> output_ports_; // a layer each: its inputs come first
  std::string layers_;
  std::string edges_;
  std::string weights_;
};

} // namespace vorin::tests
