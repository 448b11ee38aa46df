// Where a mask's pixels lie.
#pragma once

#include <opencv2/core.hpp>

namespace dirty_seg {

/// The smallest rectangle around the pixels of `mask` (CV_8UC1) that are not 0; empty if none is.
cv::Rect MaskBounds(const cv::Mat& mask);

}  // namespace dirty_seg
