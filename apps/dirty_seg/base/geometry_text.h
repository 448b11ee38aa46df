// Pixel sizes and rectangles as text.
#pragma once

#include <fmt/format.h>

#include <opencv2/core/types.hpp>
#include <string>

#include "geometry/size_text.h"

namespace dirty_seg {

using nuvik::geometry::SizeText;

/// "[x, y, width, height]".
inline std::string RectText(const cv::Rect& rect) {
  return fmt::format("[{}, {}, {}, {}]", rect.x, rect.y, rect.width, rect.height);
}

}  // namespace dirty_seg
