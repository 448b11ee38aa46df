// Pixel sizes and rectangles as text.
#pragma once

#include <fmt/format.h>

#include <opencv2/core/types.hpp>
#include <string>

namespace dirty_seg {

/// "1920 x 1080", width first.
inline std::string SizeText(const cv::Size& size) {
  return fmt::format("{} x {}", size.width, size.height);
}

/// "[x, y, width, height]".
inline std::string RectText(const cv::Rect& rect) {
  return fmt::format("[{}, {}, {}, {}]", rect.x, rect.y, rect.width, rect.height);
}

}  // namespace dirty_seg
