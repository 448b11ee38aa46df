// Percentiles by nearest rank.
#include "base/percentiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>

namespace dirty_seg {
namespace {

// 1, 2, ..., n
std::vector<double> Ramp(std::size_t n) {
  std::vector<double> values(n);
  std::iota(values.begin(), values.end(), 1.0);
  return values;
}

TEST(Percentile, IsTheValueOfTheNearestRank) {
  EXPECT_EQ(Percentile(Ramp(100), 50), 50.0);
  EXPECT_EQ(Percentile(Ramp(100), 95), 95.0);
  EXPECT_EQ(Percentile(Ramp(100), 100), 100.0);
  EXPECT_EQ(Percentile(Ramp(5), 50), 3.0);    // 2.5 rounded up
  EXPECT_EQ(Percentile(Ramp(6), 50), 3.0);    // 3 exactly
  EXPECT_EQ(Percentile(Ramp(20), 95), 19.0);  // 19 exactly
  EXPECT_EQ(Percentile(Ramp(21), 95), 20.0);  // 19.95 rounded up
}

TEST(Percentile, OfFewValuesIsTheWorst) {
  EXPECT_EQ(Percentile(Ramp(19), 95), 19.0);
  EXPECT_EQ(Percentile(Ramp(99), 99), 99.0);
  EXPECT_EQ(Percentile({7.0}, 50), 7.0);
  EXPECT_EQ(Percentile({7.0, 8.0}, 0), 7.0);
}

TEST(Summarise, SortsAndTells) {
  std::vector<double> values = Ramp(200);
  std::reverse(values.begin(), values.end());
  const Distribution distribution = Summarise(values);
  EXPECT_EQ(distribution.count, 200U);
  EXPECT_EQ(distribution.mean, 100.5);
  EXPECT_EQ(distribution.p50, 100.0);
  EXPECT_EQ(distribution.p95, 190.0);
  EXPECT_EQ(distribution.p99, 198.0);
  EXPECT_EQ(distribution.worst, 200.0);
}

TEST(Summarise, OfNothingIsZero) {
  const Distribution distribution = Summarise({});
  EXPECT_EQ(distribution.count, 0U);
  EXPECT_EQ(distribution.worst, 0.0);
}

TEST(DistributionToJson, HasItsKeysInOrder) {
  const Distribution distribution{4, 2.5, 1.0, 3.0, 4.0, 5.0};
  EXPECT_EQ(DistributionToJson(distribution).dump(),
            R"({"mean":2.5,"p50":1.0,"p95":3.0,"p99":4.0,"worst":5.0})");
}

}  // namespace
}  // namespace dirty_seg
