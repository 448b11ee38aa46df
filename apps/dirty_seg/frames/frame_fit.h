// Places a picture of any size in the detector's frame.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "dirty_seg_detector/dirty_seg_detector.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtyStatusResultData;

enum class FitMode {
  kScale,  // until it fills the frame's width or height
  kPad,    // not scaled
};

/// The words of --fit, in the order of FitMode.
inline constexpr std::array<const char*, 2> kFitWords{"scale", "pad"};

/// `word` is one of kFitWords.
FitMode FitModeOf(const std::string& word);

/// The detector works on a frame of 1920 x 1080 pixels, whatever the picture's size. A picture lies
/// in the frame's top left corner; the rest is grey.
///
/// A frame's x is x * picture.width / placed.width in the picture, and y likewise.
struct FrameFit {
  cv::Size picture;  // in its own pixels
  cv::Size placed;   // in pixels of the frame
  double scale = 1;  // frame pixels to one of the picture, before `placed` was rounded

  bool IsScaled() const { return placed != picture; }
  /// As large as the frame, so that the two are one.
  bool IsWholeFrame() const;
};

/// How a picture of that size, which is not empty, goes into the frame. Throws InputError for one
/// that is larger than the frame and must not be scaled.
FrameFit FitToFrame(const cv::Size& picture, FitMode mode);

/// The whole frame, with the picture (CV_8UC3) where `fit` says. A picture of the frame's own size
/// is returned as it is.
std::shared_ptr<cv::Mat> PlaceInFrame(const std::shared_ptr<cv::Mat>& picture, const FrameFit& fit);

/// Why a detector with these patches would see nothing of the picture; empty if it sees some of it.
std::string FindReachFault(const std::vector<cv::Rect>& patches, const FrameFit& fit);

/// A box x1, y1, x2, y2 of the frame in the picture's own pixels, cut to the picture: beside it
/// there is only grey. That of a picture which is the whole frame stays as it is.
template <typename Box>
Box BoxInPicture(Box box, const FrameFit& fit) {
  if (fit.IsWholeFrame()) return box;
  const std::array<int, 2> picture{fit.picture.width, fit.picture.height};
  const std::array<int, 2> placed{fit.placed.width, fit.placed.height};
  for (std::size_t i = 0; i < 4; ++i) {
    const double side = picture[i % 2];
    box[i] = static_cast<float>(std::clamp(box[i] * (side / placed[i % 2]), 0.0, side));
  }
  return box;
}

/// Whether a box of the frame reaches into the picture, and not only into the grey beside it.
template <typename Box>
bool ReachesIntoPicture(const Box& box, const FrameFit& fit) {
  return fit.IsWholeFrame() || (box[0] < static_cast<float>(fit.placed.width) &&
                                box[1] < static_cast<float>(fit.placed.height));
}

/// A mask of the frame (CV_8UC1, 1080 x 1920) in the picture's own pixels, as large as the picture.
/// Each pixel is what the frame has at its centre.
cv::Mat MaskInPicture(const cv::Mat& mask, const FrameFit& fit);

/// Boxes and label masks in the picture's own pixels; the rest is unchanged. Masks of a picture
/// that fills the frame are shared.
DirtyStatusResultData ResultInPicture(const DirtyStatusResultData& result, const FrameFit& fit);

}  // namespace dirty_seg
