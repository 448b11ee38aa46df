// An obvious, slow decoder in double precision, to hold the real one against. It shares no line
// with it: every number is computed for itself, pixel by pixel.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "support/segmentation_outputs.h"

namespace nuvik::test {

struct ReferenceOptions {
  float score_threshold = 0.25F;
  float iou_threshold = 0.7F;
  std::size_t max_detections = 300;
  bool class_agnostic = false;
  double mask_threshold = 0.5;
};

struct ReferenceObject {
  double x1;
  double y1;
  double x2;
  double y2;
  int label;
  float score;
  /// kMask, kBackground, or one of the two others where single precision may see it differently.
  cv::Mat mask;
};

constexpr int kBackground = 0;
constexpr int kMask = 255;
/// The logit is within the rounding of a float sum of the threshold.
constexpr int kNearThreshold = 1;
/// Whether the pixel is inside the box hangs on a box edge within kNearPixel of a whole number.
constexpr int kNearEdge = 2;

/// How far single precision may move a box edge, in pixels: eight roundings of a number below 2048.
constexpr double kNearPixel = 8 * 2048.0 / 16777216.0;

struct ReferenceResult {
  std::vector<ReferenceObject> objects;
  /// Smallest distance of any compared pair's intersection over union from the threshold.
  double nearest_overlap = 1.0;
  /// Smallest distance, in pixels, of any box from being just inside the patch.
  double nearest_inside = 1.0;
};

/// Decodes one slot whose patch has `size` pixels.
ReferenceResult DecodeSlowly(const SegmentationOutputs& outputs, int slot, const cv::Size& size,
                             const ReferenceOptions& options);

}  // namespace nuvik::test
