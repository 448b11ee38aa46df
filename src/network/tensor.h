// Tensors as the interface and ONNX files speak of them: element types, shapes, lengths, and their
// texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/ai_engine.h"

namespace nuvik::alg::common {

using Shape = std::vector<std::int64_t>;

/// A tensor with every dimension known.
struct Tensor {
  std::string name;
  AIDataType data_type;
  Shape shape;
  std::size_t bytes;
};

/// Name of a type code, for messages: "float32", or "type code 9".
std::string TypeName(std::uint32_t data_type);

/// Bytes of one element.
std::size_t ElementBytes(AIDataType data_type);

/// "[6, 3, 640, 640]"; a dimension below 0 is open and reads "?".
std::string ShapeText(const Shape& shape);

/// "float32 [6, 3, 640, 640]".
std::string TensorText(std::uint32_t data_type, const Shape& shape);

/// Bytes of a tensor; nothing when a dimension is not positive, the type has no code or the
/// number exceeds what the configuration's 32-bit lengths hold.
std::optional<std::size_t> TensorBytes(std::uint32_t data_type, const Shape& shape);

/// What such a tensor should be, for messages.
inline constexpr const char* kSizeExpectation =
    "expected positive dimensions and at most 2147483647 bytes";

/// Takes the place of an element type where there is none: a sequence, a map.
inline constexpr const char* kNotATensor = "not a tensor";

/// An element type as an ONNX file and its runtime code it (TensorProto.DataType): its name,
/// "bfloat16", or "ONNX element type 99".
std::string OnnxTypeName(std::int64_t onnx_type);

/// The type of such a code, where the interface has it, and the code of a type.
std::optional<AIDataType> TypeOfOnnx(std::int64_t onnx_type);
std::int64_t OnnxOfType(AIDataType data_type);

/// NumPy's name of the type with this code, "<f4": order of bytes, kind, bytes; nothing for a code
/// without a type.
std::optional<std::string> NumpyOfType(std::uint32_t data_type);

/// The type of such a name, where the interface has it, and every name, in the order of the codes.
std::optional<AIDataType> TypeOfNumpy(const std::string& numpy_type);
std::vector<std::string> NumpyTypes();

}  // namespace nuvik::alg::common
