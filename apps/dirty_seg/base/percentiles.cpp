#include "base/percentiles.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>

namespace dirty_seg {

double Percentile(const std::vector<double>& sorted, std::size_t percent) {
  // In whole numbers: 0.95 is not exact in binary, and its product could come out a rank too high.
  const std::size_t rank = (percent * sorted.size() + 99) / 100;
  return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

Distribution Summarise(std::vector<double> values) {
  if (values.empty()) return {};
  std::sort(values.begin(), values.end());
  const double sum = std::accumulate(values.begin(), values.end(), 0.0);
  return {values.size(),          sum / static_cast<double>(values.size()),
          Percentile(values, 50), Percentile(values, 95),
          Percentile(values, 99), values.back()};
}

nlohmann::ordered_json DistributionToJson(const Distribution& distribution) {
  return {{"mean", distribution.mean},
          {"p50", distribution.p50},
          {"p95", distribution.p95},
          {"p99", distribution.p99},
          {"worst", distribution.worst}};
}

}  // namespace dirty_seg
