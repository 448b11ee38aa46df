// Rectangles and sizes of pixels as JSON has them.
#pragma once

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

namespace dirty_seg {

/// [x, y, width, height].
inline nlohmann::ordered_json RectToJson(const cv::Rect& rect) {
  return {rect.x, rect.y, rect.width, rect.height};
}

/// [height, width], as array shapes are.
inline nlohmann::ordered_json SizeToJson(const cv::Size& size) { return {size.height, size.width}; }

}  // namespace dirty_seg
