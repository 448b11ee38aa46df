// Pixel sizes as text.
#pragma once

#include <opencv2/core/types.hpp>
#include <string>

namespace nuvik::geometry {

/// "1920 x 1080", width first.
inline std::string SizeText(const cv::Size& size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

}  // namespace nuvik::geometry
