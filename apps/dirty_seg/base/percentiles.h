// Mean and percentiles of measured values.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace dirty_seg {

/// The value of `sorted` (ascending, not empty) that `percent` of 100 of them do not exceed, by
/// nearest rank: the n-th smallest with n = ceil(percent / 100 * count), at least the first. Always
/// one of the values, never interpolated: of few values the high percentiles are the maximum.
double Percentile(const std::vector<double>& sorted, std::size_t percent);

struct Distribution {
  std::size_t count = 0;
  double mean = 0.0;
  double p50 = 0.0;
  double p95 = 0.0;
  double p99 = 0.0;
  double worst = 0.0;  // the maximum
};

/// All 0 for no values.
Distribution Summarise(std::vector<double> values);

/// Keys "mean", "p50", "p95", "p99" and "worst".
nlohmann::ordered_json DistributionToJson(const Distribution& distribution);

}  // namespace dirty_seg
