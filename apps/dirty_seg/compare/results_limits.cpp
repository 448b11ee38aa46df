#include "compare/results_limits.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace dirty_seg {
namespace {

using Frames = std::vector<const StoredFrame*>;

// JSON has no infinity.
std::string Plain(double value) { return std::isinf(value) ? "inf" : nlohmann::json(value).dump(); }

// The frame with the worst of some value, and that value; null when no frame has one.
struct Worst {
  const ComparedFrame* frame = nullptr;
  double value = 0.0;
};

template <typename SpreadOf>
Worst FindWorst(const ResultsComparison& comparison, bool is_greatest, SpreadOf spread_of) {
  Worst worst;
  for (const ComparedFrame& frame : comparison.frames) {
    const std::optional<Spread> spread = spread_of(TotalsOf(frame.difference));
    if (!spread) continue;
    const bool is_worse = is_greatest ? spread->worst > worst.value : spread->worst < worst.value;
    if (worst.frame == nullptr || is_worse) worst = {&frame, spread->worst};
  }
  return worst;
}

Worst WorstBox(const ResultsComparison& comparison) {
  return FindWorst(comparison, true, [](const DifferenceTotals& totals) {
    return SpreadToGreatest(totals.box_distances);
  });
}

Worst WorstScore(const ResultsComparison& comparison) {
  return FindWorst(comparison, true, [](const DifferenceTotals& totals) {
    return SpreadToGreatest(totals.score_differences);
  });
}

Worst WorstMask(const ResultsComparison& comparison) {
  return FindWorst(comparison, false, [](const DifferenceTotals& totals) {
    return SpreadToLeast(totals.AllMaskIous());
  });
}

// Detections of frames that only one result has are unmatched too.
std::size_t CountUnmatched(const ResultsComparison& comparison) {
  std::size_t count = 0;
  for (const ComparedFrame& frame : comparison.frames) count += frame.difference.Unmatched();
  for (const Frames* rest : {&comparison.only_in_a, &comparison.only_in_b}) {
    for (const StoredFrame* frame : *rest) count += frame->detections.size();
  }
  return count;
}

void FindUnpaired(const ResultsComparison& comparison, std::vector<std::string>& excesses) {
  for (const StoredFrame* frame : comparison.only_in_a) {
    excesses.push_back(FrameText(*frame) + " is only in A");
  }
  for (const StoredFrame* frame : comparison.only_in_b) {
    excesses.push_back(FrameText(*frame) + " is only in B");
  }
  for (const ComparedFrame& frame : comparison.frames) {
    if (!frame.difference.success_changed) continue;
    excesses.push_back(
        fmt::format("{} failed only in {}", FrameText(*frame.a), frame.a->success ? "B" : "A"));
  }
}

}  // namespace

bool ResultsLimits::Any() const {
  return max_box_distance || max_score_difference || min_mask_iou || max_unmatched;
}

std::vector<std::string> FindExcesses(const ResultsComparison& comparison,
                                      const ResultsLimits& limits) {
  std::vector<std::string> excesses;
  const auto add = [&excesses](const char* option, double limit, const Worst& worst,
                               const char* unit) {
    excesses.push_back(fmt::format("{} {}: {}{} in {}", option, Plain(limit), Plain(worst.value),
                                   unit, FrameText(*worst.frame->a)));
  };
  if (limits.max_box_distance) {
    const Worst worst = WorstBox(comparison);
    if (worst.value > *limits.max_box_distance) {
      add("--max-box-distance", *limits.max_box_distance, worst, " pixels");
    }
  }
  if (limits.max_score_difference) {
    const Worst worst = WorstScore(comparison);
    if (worst.value > *limits.max_score_difference) {
      add("--max-score-difference", *limits.max_score_difference, worst, "");
    }
  }
  if (limits.min_mask_iou) {
    const Worst worst = WorstMask(comparison);
    if (worst.frame != nullptr && worst.value < *limits.min_mask_iou) {
      add("--min-mask-iou", *limits.min_mask_iou, worst, "");
    }
  }
  const std::size_t unmatched = CountUnmatched(comparison);
  if (limits.max_unmatched && unmatched > *limits.max_unmatched) {
    excesses.push_back(
        fmt::format("--max-unmatched {}: {} detections", *limits.max_unmatched, unmatched));
  }
  if (limits.Any()) FindUnpaired(comparison, excesses);
  return excesses;
}

}  // namespace dirty_seg
