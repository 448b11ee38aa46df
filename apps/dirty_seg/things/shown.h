// What a frame shows, one by one, in the picture's own pixels.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <opencv2/core.hpp>
#include <vector>

#include "detector/frame_detector.h"
#include "detector/labels.h"
#include "frames/frame_fit.h"
#include "things/thing.h"

namespace dirty_seg {

/// A thing; where things were not asked for, a detection.
struct Finding {
  /// x1, y1, x2, y2.
  std::array<float, 4> box{};
  float score = 0.0F;
  Kind kind;
  /// Indices of its detections.
  std::vector<std::size_t> members;
  /// Whether it is of the picture, and not of the grey beside it.
  bool is_in_picture = true;
  /// Where its mask is; empty without one.
  cv::Rect area;
  /// CV_8UC1, as large as `area`, not 0 inside; read only. A detector's record unites the masks of
  /// a label, so that of a detection is its label's within the box.
  cv::Mat mask;

  /// CV_8UC1, as large as the picture, 0 or 255.
  cv::Mat WholeMask(const cv::Size& picture) const;
};

struct Shown {
  std::vector<Finding> findings;
  /// The pixels of each kind, as large as the picture. Where a label's mask has detections of both
  /// kinds, the part in the box of a confirmed one counts as confirmed.
  std::map<Kind, cv::Mat> masks;
};

/// The detections of `outcome`, in their order. `result` is the outcome's, in the picture's own
/// pixels.
Shown ShowDetections(const FrameOutcome& outcome, const DirtyStatusResultData& result,
                     const FrameFit& fit, const Labels& labels);

/// `things`, in their order.
Shown ShowThings(const std::vector<Thing>& things, const FrameFit& fit);

}  // namespace dirty_seg
