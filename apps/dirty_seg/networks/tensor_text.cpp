#include "networks/tensor_text.h"

#include <array>

namespace dirty_seg {

std::string TypeText(std::uint32_t type) {
  constexpr std::array<const char*, 6> kNames{"uint8", "float16", "float32",
                                              "int32", "int64",   "float64"};
  return type < kNames.size() ? kNames[type] : "type " + std::to_string(type);
}

std::string ShapeText(const std::vector<std::int64_t>& shape) {
  std::string text = "[";
  for (std::size_t i = 0; i < shape.size(); ++i) {
    text += (i == 0 ? "" : ", ") + std::to_string(shape[i]);
  }
  return text + "]";
}

std::string TensorText(std::uint32_t type, const std::vector<std::int64_t>& shape) {
  return TypeText(type) + " " + ShapeText(shape);
}

}  // namespace dirty_seg
