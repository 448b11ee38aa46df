#include "network/tensor.h"

#include <array>
#include <limits>

#include "network/join.h"

namespace nuvik::alg::common {
namespace {

struct Kind {
  std::size_t bytes;
  std::int64_t onnx_type;
  const char* numpy_type;
};

// In the order of AIDataType.
constexpr std::array<Kind, 6> kKinds{
    {{1, 2, "|u1"}, {2, 10, "<f2"}, {4, 1, "<f4"}, {4, 6, "<i4"}, {8, 7, "<i8"}, {8, 11, "<f8"}}};

// In the order of ONNX's codes.
constexpr std::array<const char*, 17> kOnnxNames{
    "undefined", "float32", "uint8",     "int8",       "uint16",  "int16",
    "int32",     "int64",   "string",    "bool",       "float16", "float64",
    "uint32",    "uint64",  "complex64", "complex128", "bfloat16"};

}  // namespace

std::string TypeName(std::uint32_t data_type) {
  if (data_type < kKinds.size()) return OnnxTypeName(kKinds[data_type].onnx_type);
  return "type code " + std::to_string(data_type);
}

std::size_t ElementBytes(AIDataType data_type) { return kKinds.at(data_type).bytes; }

std::string ShapeText(const Shape& shape) {
  std::vector<std::string> dimensions;
  for (const std::int64_t dimension : shape) {
    dimensions.push_back(dimension < 0 ? "?" : std::to_string(dimension));
  }
  return "[" + model::Join(dimensions) + "]";
}

std::string TensorText(std::uint32_t data_type, const Shape& shape) {
  return TypeName(data_type) + " " + ShapeText(shape);
}

std::optional<std::size_t> TensorBytes(std::uint32_t data_type, const Shape& shape) {
  if (data_type >= kKinds.size()) return std::nullopt;
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  auto bytes = static_cast<std::int64_t>(kKinds[data_type].bytes);
  for (const std::int64_t dimension : shape) {
    if (dimension <= 0 || dimension > kMax / bytes) return std::nullopt;
    bytes *= dimension;
  }
  return static_cast<std::size_t>(bytes);
}

std::string OnnxTypeName(std::int64_t onnx_type) {
  if (onnx_type >= 0 && onnx_type < static_cast<std::int64_t>(kOnnxNames.size())) {
    return kOnnxNames[static_cast<std::size_t>(onnx_type)];
  }
  return "ONNX element type " + std::to_string(onnx_type);
}

std::optional<AIDataType> TypeOfOnnx(std::int64_t onnx_type) {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    if (kKinds[i].onnx_type == onnx_type) return static_cast<AIDataType>(i);
  }
  return std::nullopt;
}

std::int64_t OnnxOfType(AIDataType data_type) { return kKinds.at(data_type).onnx_type; }

std::optional<std::string> NumpyOfType(std::uint32_t data_type) {
  if (data_type >= kKinds.size()) return std::nullopt;
  return kKinds[data_type].numpy_type;
}

std::optional<AIDataType> TypeOfNumpy(const std::string& numpy_type) {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    if (numpy_type == kKinds[i].numpy_type) return static_cast<AIDataType>(i);
  }
  return std::nullopt;
}

std::vector<std::string> NumpyTypes() {
  std::vector<std::string> types;
  types.reserve(kKinds.size());
  for (const Kind& kind : kKinds) types.emplace_back(kind.numpy_type);
  return types;
}

}  // namespace nuvik::alg::common
