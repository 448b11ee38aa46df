// The pixels of an image that a detection's box covers: what the classifier sees of a
// candidate.
#pragma once

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "geometry/letterbox.h"

namespace nuvik::geometry {

/// The whole pixels of an image of `size` that `bbox` (x1, y1, x2, y2) touches; nothing when it
/// touches none.
inline std::optional<cv::Rect> ClampToImage(const std::vector<float>& bbox, const cv::Size& size) {
  const auto floor = [](float value) { return SaturateToInt(std::floor(value)); };
  const auto ceil = [](float value) { return SaturateToInt(std::ceil(value)); };
  const int y2 = std::min(ceil(bbox[3]), size.height);
  if (y2 <= 0) return std::nullopt;
  const int x1 = std::max(std::min(floor(bbox[0]), size.width - 1), 0);
  const int y1 = std::max(std::min(floor(bbox[1]), size.height - 1), 0);
  const int x2 = std::max(std::min(ceil(bbox[2]), size.width), 0);
  if (x1 >= x2 || y2 <= y1) return std::nullopt;
  return cv::Rect(x1, y1, x2 - x1, y2 - y1);
}

}  // namespace nuvik::geometry
