// Pairs the detections of two results.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "results/detection.h"

namespace dirty_seg {

/// Boxes that overlap by less than this are not a pair.
inline constexpr double kMinOverlap = 0.5;

/// Detection `a` of the first result and `b` of the second.
struct DetectionPair {
  std::size_t a = 0;
  std::size_t b = 0;
  /// Largest difference between corresponding coordinates, in pixels.
  double box_distance = 0.0;
  /// Not below 0. Not-a-number is equal to itself, and infinitely far from any number.
  double score_difference = 0.0;
};

struct Matching {
  /// Same label; best overlap first.
  std::vector<DetectionPair> matched;
  /// The same place under another label.
  std::vector<DetectionPair> class_changes;
  /// Indices of the rest, ascending.
  std::vector<std::size_t> only_in_a;
  std::vector<std::size_t> only_in_b;
};

/// Pairs the detections of one frame. Greedy: the two boxes of the same label that overlap most
/// become a pair, then the two next best of those that are left, as long as they overlap by
/// `kMinOverlap`; what is left then is paired likewise across labels. Equal overlaps go by index.
Matching MatchDetections(const std::vector<Detection>& a, const std::vector<Detection>& b);

/// Intersection over union of two boxes. Boxes without area overlap only with an equal one, wholly.
double BoxIou(const Detection& a, const Detection& b);

/// Intersection over union of two masks, CV_8UC1, not 0 inside. An empty matrix is a mask without a
/// pixel; two masks without a pixel are equal, 1. Masks of different size share nothing, 0.
double MaskIou(const cv::Mat& a, const cv::Mat& b);

}  // namespace dirty_seg
