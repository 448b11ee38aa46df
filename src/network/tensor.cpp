#include "network/tensor.h"

#include <array>
#include <limits>

namespace nuvik::alg::common {
namespace {

struct Kind {
  const char* name;
  std::size_t bytes;
};

// In the order of AIDataType.
constexpr std::array<Kind, 6> kKinds{
    {{"uint8", 1}, {"float16", 2}, {"float32", 4}, {"int32", 4}, {"int64", 8}, {"float64", 8}}};

}  // namespace

std::string TypeName(std::uint32_t data_type) {
  if (data_type < kKinds.size()) return kKinds[data_type].name;
  return "type code " + std::to_string(data_type);
}

std::string ShapeText(const Shape& shape) {
  std::string text = "[";
  for (std::size_t i = 0; i < shape.size(); ++i) {
    if (i > 0) text += ", ";
    text += shape[i] < 0 ? "?" : std::to_string(shape[i]);
  }
  return text + "]";
}

std::optional<std::size_t> TensorBytes(std::uint32_t data_type, const Shape& shape) {
  if (data_type >= kKinds.size()) return std::nullopt;
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  auto bytes = static_cast<std::int64_t>(kKinds[data_type].bytes);
  for (const std::int64_t dimension : shape) {
    if (dimension <= 0 || dimension > kMost / bytes) return std::nullopt;
    bytes *= dimension;
  }
  return static_cast<std::size_t>(bytes);
}

}  // namespace nuvik::alg::common
