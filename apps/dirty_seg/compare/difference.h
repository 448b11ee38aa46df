// Differences between two results of the same frame.
#pragma once

#include <cstddef>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "compare/matching.h"
#include "results/detection.h"

namespace dirty_seg {

/// Digits after the point that differences are told with. What is no difference in these counts as
/// none.
inline constexpr int kDistanceDecimals = 2;
inline constexpr int kScoreDecimals = 4;
inline constexpr int kOverlapDecimals = 4;

/// The compared parts of one result of one frame.
struct FrameFindings {
  bool success = true;
  std::vector<Detection> detections;
  /// By label.
  std::map<int, cv::Mat> masks;
  /// The classifier's verdicts, by index of the detection.
  std::map<std::size_t, std::string> verdicts;
};

/// The classifier's verdicts on detection `a` of one result and `b` of the other.
struct VerdictChange {
  std::size_t a = 0;
  std::size_t b = 0;
  std::string in_a;
  std::string in_b;
};

struct FrameDifference {
  /// One result succeeded, the other did not.
  bool success_changed = false;
  Matching matching;
  /// By label; 0 for a label that only one result has a mask of.
  std::map<int, double> mask_ious;
  /// Paired detections with a verdict in both, and those whose verdicts differ.
  std::size_t verdicts = 0;
  std::vector<VerdictChange> verdict_changes;

  /// Detections without a partner of their label.
  std::size_t Unmatched() const;
};

/// For findings whose verdicts are all known: a detection of label 19 without a verdict is the
/// network's own class 19, and gets the verdict "native", so that it does not count as equal to a
/// confirmed one.
void MarkNative(FrameFindings& findings);

FrameDifference CompareFindings(const FrameFindings& a, const FrameFindings& b);

/// Whether the box of a matched detection lies elsewhere, and whether its score is another.
bool HasMoved(const DetectionPair& pair);
bool HasOtherScore(const DetectionPair& pair);

/// Whether masks that overlap so are not the same.
bool AreOtherMasks(double iou);

/// Whether the two results of the frame differ in anything that is compared: success, detections
/// without a partner of their label, boxes, scores, masks or verdicts.
bool IsChanged(const FrameDifference& difference);

/// Spread of values of one kind.
struct Spread {
  double mean = 0.0;
  double worst = 0.0;
};

/// Nothing for no values. The worst is the maximum, or the minimum.
std::optional<Spread> SpreadToGreatest(const std::vector<double>& values);
std::optional<Spread> SpreadToLeast(const std::vector<double>& values);

/// Differences of one frame or many, added up.
struct DifferenceTotals {
  std::size_t frames = 0;
  std::size_t success_changes = 0;
  std::size_t matched = 0;
  std::size_t class_changes = 0;
  std::size_t only_in_a = 0;
  std::size_t only_in_b = 0;
  std::size_t verdicts = 0;
  std::size_t verdict_changes = 0;
  /// For each matched detection: pixels, and score.
  std::vector<double> box_distances;
  std::vector<double> score_differences;
  std::map<int, std::vector<double>> mask_ious;

  void Add(const FrameDifference& frame);

  /// Of all labels.
  std::vector<double> AllMaskIous() const;
};

DifferenceTotals TotalsOf(const FrameDifference& frame);

/// Mean and worst, or null for nothing.
nlohmann::ordered_json ToJson(const std::optional<Spread>& spread);
nlohmann::ordered_json ToJson(const DifferenceTotals& totals);

/// Mean and worst as text, or "-" for nothing.
std::string SpreadText(const std::optional<Spread>& spread, int decimals);

/// Several lines of text.
std::string TotalsText(const DifferenceTotals& totals);

}  // namespace dirty_seg
