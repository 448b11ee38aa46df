// Which part of the frame the patches cover.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dirty_seg {

struct Coverage {
  /// What lies in no patch, as rectangles that do not overlap, from top to bottom and left to
  /// right.
  std::vector<cv::Rect> gaps;
  double gap_share = 0.0;       // of the frame's pixels, 0 to 1
  double repeated_share = 0.0;  // in more than one patch
};

/// Coverage of the 1920 x 1080 frame; parts of patches outside it do not count.
Coverage CoverFrame(const std::vector<cv::Rect>& patches);

}  // namespace dirty_seg
