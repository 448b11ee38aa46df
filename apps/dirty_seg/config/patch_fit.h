// How a patch's crop fills the network's square.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dirty_seg {

struct PatchFit {
  cv::Size scaled;       // the crop in network pixels; a side of 0 cannot be scaled at all
  cv::Size square;       // with its padding: what is written into the network's slot
  double grey = 0.0;     // share of the square that is padding, 0 to 1
  double shrunk = 1.0;   // frame pixels per network pixel
  bool is_whole = true;  // false: other than the network's square, so that rows run into each other
};

/// Limits beyond which a patch wastes the network's input.
struct FitLimits {
  double grey = 0.0;
  double shrunk = 0.0;
  double enlarged = 0.0;  // network pixels per frame pixel
};
inline constexpr FitLimits kDefaultFitLimits{0.25, 2.0, 2.0};

bool IsWithin(const PatchFit& fit, const FitLimits& limits);

/// Fits a patch of that size, already clipped to the frame, to a network with an input of `side`
/// pixels. The arithmetic is the detector's own.
PatchFit FitPatch(const cv::Size& patch, int side);

/// Sizes near `patch` that fill the square whole, nearest first and at most two, neither side more
/// than 64 pixels away or larger than that of `most`.
std::vector<cv::Size> NearestWholeSizes(const cv::Size& patch, int side, const cv::Size& most);

/// The smallest such size, by the sum of its sides, that is nowhere smaller than `least`; empty
/// if there is none.
cv::Size SmallestWholeSize(const cv::Size& least, int side, const cv::Size& most);

}  // namespace dirty_seg
