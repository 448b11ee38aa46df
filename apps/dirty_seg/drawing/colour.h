// Colours, in B, G, R order, 0 to 255.
#pragma once

#include <opencv2/core/types.hpp>

namespace dirty_seg {

inline const cv::Scalar kBlack(0, 0, 0);
inline const cv::Scalar kWhite(255, 255, 255);

/// Black or white, whichever can be read on a ground of `colour`: white where its luma, by the
/// weights of Rec. 601, is below 100.
inline const cv::Scalar& TextColourOn(const cv::Scalar& colour) {
  return 0.114 * colour[0] + 0.587 * colour[1] + 0.299 * colour[2] < 100.0 ? kWhite : kBlack;
}

}  // namespace dirty_seg
