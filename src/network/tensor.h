// Tensors as the engine speaks of them: element types, shapes, lengths, and their texts.
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

/// Name of a type code, for messages.
std::string TypeName(std::uint32_t data_type);

/// "[6, 3, 640, 640]"; a dimension below 0 is open and reads "?".
std::string ShapeText(const Shape& shape);

/// Bytes of a tensor; nothing when a dimension is not positive, the type has no code or the
/// number exceeds what the configuration's 32-bit lengths hold.
std::optional<std::size_t> TensorBytes(std::uint32_t data_type, const Shape& shape);

}  // namespace nuvik::alg::common
