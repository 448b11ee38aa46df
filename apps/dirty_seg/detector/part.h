// What one patch shows of a thing: a detection with a mask of its own.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "engine/yolov8_postprocess.h"

namespace dirty_seg {

struct Part {
  /// The network's class, also where the classifier's label took its place.
  int network_label = 0;
  std::size_t patch_index = 0;
  /// The patch's rectangle, as far as it is in the frame.
  cv::Rect patch;
  /// Rectangle around the mask's pixels in the frame; empty if the frame has none of them.
  cv::Rect area;
  /// CV_8UC1, as large as `area`, not 0 inside; memory of its own.
  cv::Mat mask;
};

/// The parts in the order of the record's detections: list i is placed with patch i, as the
/// detector does it, or at the frame's origin without one.
std::vector<Part> PartsOf(const std::vector<std::vector<nuvik::model::Object>>& lists,
                          const std::vector<cv::Rect>& patches);

}  // namespace dirty_seg
