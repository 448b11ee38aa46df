// Whether a matrix may be written to without anybody else seeing it.
#pragma once

#include <opencv2/core.hpp>

namespace nuvik {

/// Whether no other matrix shares the memory of `matrix`; false for an empty one and for memory
/// that OpenCV does not own. Once true it stays so, since nothing else can make a copy.
inline bool IsSoleOwner(const cv::Mat& matrix) {
  return matrix.u != nullptr && CV_XADD(&matrix.u->refcount, 0) == 1;
}

}  // namespace nuvik
