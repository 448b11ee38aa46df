// Limits on how far two results may differ.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "compare/results_comparison.h"

namespace dirty_seg {

/// Limits of a comparison; an empty one does not apply.
struct ResultsLimits {
  std::optional<double> max_box_distance;
  std::optional<double> max_score_difference;
  std::optional<double> min_mask_iou;
  std::optional<std::size_t> max_unmatched;

  bool Any() const;
};

/// A message for each limit that is exceeded, with the option, the frame and the value. With any
/// limit, frames that only one result has, or that succeeded in only one, count too.
std::vector<std::string> FindExcesses(const ResultsComparison& comparison,
                                      const ResultsLimits& limits);

}  // namespace dirty_seg
