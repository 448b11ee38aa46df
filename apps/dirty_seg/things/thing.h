// Things: what detections of several patches are parts of.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "detector/frame_detector.h"
#include "detector/labels.h"
#include "detector/part.h"

namespace dirty_seg {

/// A gap of so many pixels between a mask and a border of a patch counts as none: a network's masks
/// seldom reach a border to the pixel.
inline constexpr int kMaxBorderGap = 2;

struct Thing {
  /// x1, y1, x2, y2 in pixels of the frame, around its detections' boxes; not clipped to it.
  std::array<float, 4> box{};
  /// That of its best detection.
  float score = 0.0F;
  /// Confirmed where one of its detections is.
  Kind kind;
  /// Indices of its detections, in order.
  std::vector<std::size_t> members;
  /// Rectangle around its pixels in the frame; empty if none of its detections has any.
  cv::Rect area;
  /// CV_8UC1, as large as `area`, 0 or 255: the union of its detections' masks.
  cv::Mat mask;

  std::int64_t pixels() const { return mask.empty() ? 0 : cv::countNonZero(mask); }
};

/// Each detection of `outcome`, whose parts are known, in one thing. Detections of two patches are
/// parts of one if their masks meet where the patches meet or overlap, and either their labels are
/// the same or the network gave them the same and the classifier confirmed one. Detections of one
/// patch are so only by way of others.
///
/// Best score first. Neither the things nor their order, but for their members' indices, depend on
/// the order of the patches or of the detections.
std::vector<Thing> FindThings(const FrameOutcome& outcome, const Labels& labels);

}  // namespace dirty_seg
