// How far what was found in a frame once differs from what was found in it another time.
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

/// One result of one frame, as far as it is compared.
struct Findings {
  bool success = true;
  std::vector<Detection> detections;
  /// By label.
  std::map<int, cv::Mat> masks;
  /// What the classifier said, by index of the detection.
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
  /// One succeeded, the other did not.
  bool success_changed = false;
  Matching matching;
  /// By label; a label that one result alone has a mask of shares nothing, 0.
  std::map<int, double> mask_ious;
  /// Detections that are the same thing and candidates in both, and those of them that changed.
  std::size_t verdicts = 0;
  std::vector<VerdictChange> verdict_changes;

  /// Detections without a partner of their label.
  std::size_t Unmatched() const;
};

/// Of findings whose verdicts are all told: one of label 19 without a verdict is the network's own
/// class 19, and gets the verdict "native", so that it does not count as the same as a confirmed
/// one.
void TellNative(Findings& findings);

FrameDifference CompareFindings(const Findings& a, const Findings& b);

/// Of values of one kind.
struct Spread {
  double mean = 0.0;
  double worst = 0.0;
};

/// Nothing of no values. The worst is the greatest, or the least.
std::optional<Spread> SpreadToGreatest(const std::vector<double>& values);
std::optional<Spread> SpreadToLeast(const std::vector<double>& values);

/// Of one frame or many.
struct DifferenceTotals {
  std::size_t frames = 0;
  std::size_t success_changes = 0;
  std::size_t matched = 0;
  std::size_t class_changes = 0;
  std::size_t only_in_a = 0;
  std::size_t only_in_b = 0;
  std::size_t verdicts = 0;
  std::size_t verdict_changes = 0;
  /// Of the matched detections: pixels, and score.
  std::vector<double> box_distances;
  std::vector<double> score_differences;
  std::map<int, std::vector<double>> mask_ious;

  void Add(const FrameDifference& frame);

  /// Of all labels.
  std::vector<double> AllMaskIous() const;
};

DifferenceTotals TotalsOf(const FrameDifference& frame);

/// Mean and worst, or null of nothing.
nlohmann::ordered_json ToJson(const std::optional<Spread>& spread);
nlohmann::ordered_json ToJson(const DifferenceTotals& totals);

/// Mean and worst to read, or "-" of nothing.
std::string SpreadText(const std::optional<Spread>& spread, int decimals);

/// Some lines to read.
std::string TotalsText(const DifferenceTotals& totals);

}  // namespace dirty_seg
