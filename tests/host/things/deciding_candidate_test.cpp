// Which candidate says what the classifier makes of a thing.
#include "things/deciding_candidate.h"

#include <gtest/gtest.h>

#include "detector/fece_log.h"
#include "results/results_reader.h"

namespace dirty_seg {
namespace {

constexpr auto kConfirmed = FeceVerdict::kConfirmed;
constexpr auto kRejected = FeceVerdict::kRejected;

std::size_t DetectionOf(const FeceCandidate* candidate) { return candidate->detection; }

TEST(FindDecidingCandidate, IsOneOfTheMembers) {
  const std::vector<FeceCandidate> all{{0, kConfirmed, 0.9F}, {2, kRejected, 0.1F}};
  EXPECT_EQ(DetectionOf(FindDecidingCandidate(all, {1, 2})), 2U);
  EXPECT_EQ(FindDecidingCandidate(all, {1, 3}), nullptr);
  EXPECT_EQ(FindDecidingCandidate(all, {}), nullptr);
}

TEST(FindDecidingCandidate, IsAConfirmedOneFirst) {
  const std::vector<FeceCandidate> all{{0, kRejected, 0.9F}, {1, kConfirmed, 0.6F}};
  EXPECT_EQ(DetectionOf(FindDecidingCandidate(all, {0, 1})), 1U);
}

TEST(FindDecidingCandidate, HasTheHighestScoreThen) {
  const std::vector<FeceCandidate> all{
      {0, FeceVerdict::kFailed, {}}, {1, kRejected, 0.2F}, {2, kRejected, 0.3F}};
  EXPECT_EQ(DetectionOf(FindDecidingCandidate(all, {0, 1, 2})), 2U);
  EXPECT_EQ(DetectionOf(FindDecidingCandidate(all, {1, 0})), 1U);
}

TEST(FindDecidingCandidate, IsTheFirstOfEqualOnes) {
  const std::vector<FeceCandidate> all{{3, kRejected, 0.5F}, {4, kRejected, 0.5F}};
  EXPECT_EQ(DetectionOf(FindDecidingCandidate(all, {4, 3})), 3U);
}

TEST(FindDecidingCandidate, ReadsStoredVerdictsAlike) {
  const std::vector<StoredCandidate> all{{0, "rejected", 0.9}, {1, "confirmed", 0.6}};
  EXPECT_EQ(FindDecidingCandidate(all, {0, 1}), &all[1]);
}

}  // namespace
}  // namespace dirty_seg
