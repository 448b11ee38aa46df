// Sizes of pictures as messages tell them.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dirty_seg {

/// "1920 x 1080", width first.
inline std::string SizeText(const cv::Size& size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

}  // namespace dirty_seg
