// A tensor's type and shape as messages name them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace dirty_seg {

/// `type` is an AIDataType; "type 9" for one that has no name.
std::string TypeText(std::uint32_t type);

/// "[2, 3, 64, 64]"
std::string ShapeText(const std::vector<std::int64_t>& shape);

/// "float32 [2, 3, 64, 64]"
std::string TensorText(std::uint32_t type, const std::vector<std::int64_t>& shape);

}  // namespace dirty_seg
