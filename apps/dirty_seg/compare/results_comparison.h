// Compares two runs over the same frames.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "compare/difference.h"
#include "results/results_reader.h"

namespace dirty_seg {

struct ComparedFrame {
  const StoredFrame* a = nullptr;
  const StoredFrame* b = nullptr;
  FrameDifference difference;
};

/// Points into the results that were compared.
struct ResultsComparison {
  /// In the order of the first result.
  std::vector<ComparedFrame> frames;
  std::vector<const StoredFrame*> only_in_a;
  std::vector<const StoredFrame*> only_in_b;
  DifferenceTotals all;
};

/// Two frames are the same when their sources and numbers are, or else when the file names of their
/// sources and their numbers are; the first of several goes first. Both outlive the comparison.
/// Throws SetupError for a mask that cannot be decoded, and InterruptedError.
ResultsComparison CompareResults(const Results& a, const Results& b);
ResultsComparison CompareResults(Results&& a, Results&& b) = delete;

/// "'floor.png'", followed by the frame number if it is not 0.
std::string FrameText(const StoredFrame& frame);

nlohmann::ordered_json ToJson(const ResultsComparison& comparison);

/// A table of frames with the worst of each, then the totals.
std::string ComparisonText(const ResultsComparison& comparison);

}  // namespace dirty_seg
