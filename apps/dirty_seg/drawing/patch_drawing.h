// Draws patches onto a frame.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "config/patches.h"

namespace dirty_seg {

/// A copy of `picture` (CV_8UC3) with every patch outlined in a colour of its own and numbered in
/// its corner, and each of `gaps` darkened and crossed out. Coordinates are those of the picture.
cv::Mat DrawPatches(const cv::Mat& picture, const std::vector<ListedPatch>& patches,
                    const std::vector<cv::Rect>& gaps);

}  // namespace dirty_seg
