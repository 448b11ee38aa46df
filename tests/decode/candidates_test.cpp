// Finding detections among the anchors, and suppressing the overlapping ones.
#include "decode/candidates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/case_name.h"
#include "support/fenced_memory.h"

namespace nuvik::model {
namespace {

using test::FencedMemory;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kDenormal = std::numeric_limits<float>::denorm_min();
constexpr float kMax = std::numeric_limits<float>::max();

// One slot's predictions in either layout; every number is 0 at first.
class Slot {
 public:
  Slot(bool anchor_major, int classes, int coefficients, int anchors)
      : anchor_major_(anchor_major),
        classes_(classes),
        coefficients_(coefficients),
        anchors_(anchors),
        values_(static_cast<std::size_t>(channels() * anchors)) {}

  int channels() const { return 4 + classes_ + coefficients_; }

  float& At(int channel, int anchor) {
    const int index = anchor_major_ ? anchor * channels() + channel : channel * anchors_ + anchor;
    return values_.at(static_cast<std::size_t>(index));
  }

  float& Score(int label, int anchor) { return At(4 + label, anchor); }
  float& Coefficient(int k, int anchor) { return At(4 + classes_ + k, anchor); }

  std::vector<Candidate> Find(float threshold) const { return Find(Uniform(threshold)); }

  std::vector<Candidate> Find(const std::vector<float>& thresholds) const {
    return FindIn(values_.data(), thresholds);
  }

  // With memory that may not be read right after the last number.
  std::vector<Candidate> FindBeforeAFence(float threshold) const {
    const std::size_t bytes = values_.size() * sizeof(float);
    const FencedMemory memory(bytes, FencedMemory::Flush::kEnd);
    std::memcpy(memory.data(), values_.data(), bytes);
    return FindIn(reinterpret_cast<const float*>(memory.data()), Uniform(threshold));
  }

 private:
  std::vector<float> Uniform(float threshold) const {
    return std::vector<float>(static_cast<std::size_t>(classes_), threshold);
  }

  std::vector<Candidate> FindIn(const float* values, const std::vector<float>& thresholds) const {
    const auto channel_count = static_cast<std::size_t>(channels());
    const auto anchor_count = static_cast<std::size_t>(anchors_);
    const Predictions predictions{values,
                                  classes_,
                                  coefficients_,
                                  anchors_,
                                  anchor_major_ ? 1 : anchor_count,
                                  anchor_major_ ? channel_count : 1};
    std::vector<Candidate> candidates;
    FindCandidates(predictions, thresholds, candidates);
    return candidates;
  }

  bool anchor_major_;
  int classes_;
  int coefficients_;
  int anchors_;
  std::vector<float> values_;
};

std::vector<int> AnchorsOf(const std::vector<Candidate>& candidates) {
  std::vector<int> anchors;
  for (const Candidate& candidate : candidates) anchors.push_back(candidate.anchor);
  return anchors;
}

struct Layout {
  const char* name;
  bool anchor_major;
};

void PrintTo(const Layout& layout, std::ostream* out) { *out << layout.name; }

class FindCandidatesIn : public testing::TestWithParam<Layout> {
 protected:
  static Slot MakeSlot(int classes, int coefficients, int anchors) {
    return {GetParam().anchor_major, classes, coefficients, anchors};
  }
};

INSTANTIATE_TEST_SUITE_P(BothLayouts, FindCandidatesIn,
                         testing::Values(Layout{"ChannelMajor", false},
                                         Layout{"AnchorMajor", true}),
                         test::CaseName());

TEST_P(FindCandidatesIn, TurnsCentreAndSizeIntoCorners) {
  Slot slot = MakeSlot(3, 2, 5);
  slot.At(0, 3) = 100.0F;
  slot.At(1, 3) = 50.0F;
  slot.At(2, 3) = 30.0F;
  slot.At(3, 3) = 8.0F;
  slot.Score(2, 3) = 0.75F;
  slot.Score(0, 3) = 0.5F;
  const std::vector<Candidate> found = slot.Find(0.25F);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].x1, 85.0F);
  EXPECT_EQ(found[0].y1, 46.0F);
  EXPECT_EQ(found[0].x2, 115.0F);
  EXPECT_EQ(found[0].y2, 54.0F);
  EXPECT_EQ(found[0].score, 0.75F);
  EXPECT_EQ(found[0].label, 2);
  EXPECT_EQ(found[0].anchor, 3);
}

TEST_P(FindCandidatesIn, FarCornerIsCentreAndHalfTheSize) {
  // Floats below 1 are 2^-24 apart, above it twice that: x1 + width would be rounded to 1.
  Slot slot = MakeSlot(1, 1, 1);
  slot.Score(0, 0) = 0.5F;
  for (const int axis : {0, 1}) {
    slot.At(axis, 0) = 1.0F;
    slot.At(axis + 2, 0) = 3 * 0x1p-24F;
  }
  const std::vector<Candidate> found = slot.Find(0.25F);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].x1, 1.0F - 0x1p-23F);
  EXPECT_EQ(found[0].x2, 1.0F + 0x1p-23F);
  EXPECT_EQ(found[0].y1, 1.0F - 0x1p-23F);
  EXPECT_EQ(found[0].y2, 1.0F + 0x1p-23F);
}

TEST_P(FindCandidatesIn, TakesScoresAboveTheThresholdOnly) {
  Slot slot = MakeSlot(1, 1, 3);
  slot.Score(0, 0) = std::nextafter(0.25F, 0.0F);
  slot.Score(0, 1) = 0.25F;
  slot.Score(0, 2) = std::nextafter(0.25F, 1.0F);
  EXPECT_THAT(AnchorsOf(slot.Find(0.25F)), ElementsAre(2));
}

TEST_P(FindCandidatesIn, ReadsNothingBehindTheTensor) {
  for (const int anchors : {1, 15, 16, 17, 31, 33, 512, 513}) {
    for (const int classes : {1, 15, 16, 17}) {
      Slot slot = MakeSlot(classes, 1, anchors);
      EXPECT_THAT(slot.FindBeforeAFence(0.5F), IsEmpty());
      slot.Score(classes - 1, anchors - 1) = 0.75F;
      EXPECT_THAT(AnchorsOf(slot.FindBeforeAFence(0.5F)), ElementsAre(anchors - 1));
    }
  }
}

TEST_P(FindCandidatesIn, NegativeScoresAreComparedLikeOthers) {
  Slot slot = MakeSlot(2, 1, 2);
  slot.Score(0, 0) = -0.75F;
  slot.Score(1, 0) = -0.5F;
  slot.Score(0, 1) = -2.0F;
  slot.Score(1, 1) = -1.0F;
  const std::vector<Candidate> found = slot.Find(-1.0F);
  ASSERT_EQ(AnchorsOf(found), std::vector<int>{0});
  EXPECT_EQ(found[0].score, -0.5F);
  EXPECT_EQ(found[0].label, 1);
}

TEST_P(FindCandidatesIn, ThresholdZeroTakesTheSmallestDenormalAndNoZero) {
  Slot slot = MakeSlot(1, 1, 3);
  slot.Score(0, 1) = kDenormal;
  slot.Score(0, 2) = -kDenormal;
  EXPECT_THAT(AnchorsOf(slot.Find(0.0F)), ElementsAre(1));
}

TEST_P(FindCandidatesIn, AppendsAndKeepsWhatWasThere) {
  Slot slot = MakeSlot(1, 1, 2);
  slot.Score(0, 1) = 0.5F;
  std::vector<Candidate> candidates{Candidate{1.0F, 2.0F, 3.0F, 4.0F, 0.9F, 5, 77}};
  const Predictions predictions{&slot.At(0, 0),
                                1,
                                1,
                                2,
                                GetParam().anchor_major ? 1U : 2U,
                                GetParam().anchor_major ? 6U : 1U};
  FindCandidates(predictions, {0.25F}, candidates);
  EXPECT_THAT(AnchorsOf(candidates), ElementsAre(77, 1));
}

TEST_P(FindCandidatesIn, TheLowestClassWinsATie) {
  Slot slot = MakeSlot(4, 1, 1);
  slot.Score(1, 0) = 0.5F;
  slot.Score(2, 0) = 0.5F;
  slot.Score(3, 0) = 0.5F;
  const std::vector<Candidate> found = slot.Find(0.25F);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].label, 1);
}

TEST_P(FindCandidatesIn, TheBestClassWinsWhereverItStands) {
  for (const int best : {0, 1, 2}) {
    Slot slot = MakeSlot(3, 1, 1);
    for (int label = 0; label < 3; ++label) slot.Score(label, 0) = label == best ? 0.75F : 0.5F;
    const std::vector<Candidate> found = slot.Find(0.25F);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].label, best);
    EXPECT_EQ(found[0].score, 0.75F);
  }
}

TEST_P(FindCandidatesIn, AllEightyClassesAreLookedAt) {
  Slot slot = MakeSlot(80, 32, 80);
  for (int anchor = 0; anchor < 80; ++anchor) {
    for (int label = 0; label < 80; ++label) slot.Score(label, anchor) = 0.125F;
    slot.Score(anchor, anchor) = 0.5F;
  }
  const std::vector<Candidate> found = slot.Find(0.25F);
  ASSERT_EQ(found.size(), 80U);
  for (int anchor = 0; anchor < 80; ++anchor) {
    EXPECT_EQ(found[static_cast<std::size_t>(anchor)].anchor, anchor);
    EXPECT_EQ(found[static_cast<std::size_t>(anchor)].label, anchor);
  }
}

TEST_P(FindCandidatesIn, BoxesAndCoefficientsAreNoScores) {
  Slot slot = MakeSlot(1, 3, 1);
  for (int channel = 0; channel < 4; ++channel) slot.At(channel, 0) = 0.9F;
  for (int k = 0; k < 3; ++k) slot.Coefficient(k, 0) = 0.9F;
  EXPECT_THAT(slot.Find(0.25F), IsEmpty());
}

// Anchors are scanned in runs of 512, four vectors of four at a time, and marked in words of 64.
TEST_P(FindCandidatesIn, EveryAnchorAroundAWordAndARunIsFoundInOrder) {
  for (const int anchors : {1, 15, 16, 17, 63, 64, 65, 128, 511, 512, 513, 1024, 1025}) {
    Slot slot = MakeSlot(2, 1, anchors);
    std::vector<int> all;
    for (int anchor = 0; anchor < anchors; ++anchor) {
      slot.Score(anchor % 2, anchor) = 0.5F;
      all.push_back(anchor);
    }
    EXPECT_EQ(AnchorsOf(slot.Find(0.25F)), all) << anchors << " anchors";
  }
}

TEST_P(FindCandidatesIn, ASingleDetectionIsFoundAtEveryAnchor) {
  constexpr int kAnchors = 2 * 512 + 2 * 16 + 3;
  for (int anchor = 0; anchor < kAnchors; ++anchor) {
    Slot slot = MakeSlot(2, 1, kAnchors);
    slot.Score(1, anchor) = 0.5F;
    slot.At(0, anchor) = static_cast<float>(anchor);
    const std::vector<Candidate> found = slot.Find(0.25F);
    ASSERT_THAT(AnchorsOf(found), ElementsAre(anchor));
    EXPECT_EQ(found[0].label, 1);
    EXPECT_EQ(found[0].x1, static_cast<float>(anchor));
  }
}

// Anchors whose scores lie together are looked at four vectors of four classes at a time.
TEST_P(FindCandidatesIn, ASingleScoreIsFoundInEveryClass) {
  for (const int classes : {1, 4, 15, 16, 17, 33, 80}) {
    for (int label = 0; label < classes; ++label) {
      Slot slot = MakeSlot(classes, 1, 3);
      slot.Score(label, 1) = 0.5F;
      const std::vector<Candidate> found = slot.Find(0.25F);
      ASSERT_THAT(AnchorsOf(found), ElementsAre(1)) << label << " of " << classes;
      EXPECT_EQ(found[0].label, label);
    }
  }
}

TEST_P(FindCandidatesIn, ScoresThatAreNotANumberHideNoneBesideThem) {
  for (int anchor = 0; anchor < 64; ++anchor) {
    Slot slot = MakeSlot(1, 1, 64);
    for (int other = 0; other < 64; ++other) slot.Score(0, other) = kNan;
    slot.Score(0, anchor) = 0.5F;
    ASSERT_THAT(AnchorsOf(slot.Find(0.25F)), ElementsAre(anchor));
  }
}

TEST_P(FindCandidatesIn, NoDetectionGivesNoCandidate) {
  EXPECT_THAT(MakeSlot(80, 32, 257).Find(0.25F), IsEmpty());
  EXPECT_THAT(MakeSlot(80, 32, 257).Find(0.0F), IsEmpty());
}

TEST_P(FindCandidatesIn, AScoreThatIsNotFiniteCountsAsNone) {
  for (const float bad : {kNan, -kNan, kInfinity, -kInfinity}) {
    Slot slot = MakeSlot(2, 1, 2);
    slot.Score(0, 0) = bad;
    slot.Score(0, 1) = bad;
    slot.Score(1, 1) = 0.5F;
    const std::vector<Candidate> found = slot.Find(0.25F);
    ASSERT_THAT(AnchorsOf(found), ElementsAre(1)) << bad;
    EXPECT_EQ(found[0].label, 1);
    EXPECT_EQ(found[0].score, 0.5F);
  }
}

TEST_P(FindCandidatesIn, AScoreBelowTheThresholdIsNotLiftedByAnInfiniteOne) {
  Slot slot = MakeSlot(2, 1, 1);
  slot.Score(0, 0) = kInfinity;
  slot.Score(1, 0) = 0.125F;
  EXPECT_THAT(slot.Find(0.25F), IsEmpty());
}

TEST_P(FindCandidatesIn, AnAnchorWithABoxThatIsNotFiniteIsLeftOut) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (int channel = 0; channel < 4; ++channel) {
      Slot slot = MakeSlot(1, 1, 3);
      for (int anchor = 0; anchor < 3; ++anchor) slot.Score(0, anchor) = 0.5F;
      slot.At(channel, 1) = bad;
      EXPECT_THAT(AnchorsOf(slot.Find(0.25F)), ElementsAre(0, 2)) << bad << " in " << channel;
    }
  }
}

TEST_P(FindCandidatesIn, AnAnchorWhoseCornersOverflowIsLeftOut) {
  // Centre and size are finite, but centre plus half the size is not.
  for (const int centre : {0, 1}) {
    for (const float sign : {1.0F, -1.0F}) {
      Slot slot = MakeSlot(1, 1, 1);
      slot.Score(0, 0) = 0.5F;
      slot.At(centre, 0) = sign * kMax;
      slot.At(centre + 2, 0) = kMax;
      EXPECT_THAT(slot.Find(0.25F), IsEmpty());
    }
  }
}

TEST_P(FindCandidatesIn, AnAnchorWithACoefficientThatIsNotFiniteIsLeftOut) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (const int k : {0, 1, 7}) {
      Slot slot = MakeSlot(3, 8, 3);
      for (int anchor = 0; anchor < 3; ++anchor) slot.Score(2, anchor) = 0.5F;
      slot.Coefficient(k, 1) = bad;
      EXPECT_THAT(AnchorsOf(slot.Find(0.25F)), ElementsAre(0, 2)) << bad << " in " << k;
    }
  }
}

TEST_P(FindCandidatesIn, EachClassHasItsOwnThreshold) {
  Slot slot = MakeSlot(3, 1, 6);
  slot.Score(0, 0) = 0.5F;    // not above 0.5
  slot.Score(0, 1) = 0.75F;   // above it
  slot.Score(1, 2) = 0.125F;  // not above 0.125
  slot.Score(1, 3) = 0.25F;   // above it
  slot.Score(2, 4) = 0.875F;
  slot.Score(2, 5) = 1.0F;
  const std::vector<Candidate> found = slot.Find({0.5F, 0.125F, 0.875F});
  EXPECT_THAT(AnchorsOf(found), ElementsAre(1, 3, 5));
  EXPECT_EQ(found[1].label, 1);
}

TEST_P(FindCandidatesIn, NoOtherClassTakesThePlaceOfTheBestThatFails) {
  Slot slot = MakeSlot(2, 1, 2);
  slot.Score(0, 0) = 0.5F;   // the best, not above 0.625
  slot.Score(1, 0) = 0.25F;  // above 0.125, but not the best
  slot.Score(0, 1) = 0.5F;
  slot.Score(1, 1) = 0.5625F;  // the best, and above 0.125
  const std::vector<Candidate> found = slot.Find({0.625F, 0.125F});
  ASSERT_THAT(AnchorsOf(found), ElementsAre(1));
  EXPECT_EQ(found[0].label, 1);
}

TEST_P(FindCandidatesIn, AnInfiniteThresholdLeavesAClassOut) {
  Slot slot = MakeSlot(2, 1, 3);
  slot.Score(0, 0) = 0.75F;
  slot.Score(1, 1) = kMax;
  slot.Score(0, 2) = 0.5F;
  slot.Score(1, 2) = 0.75F;
  EXPECT_THAT(AnchorsOf(slot.Find({0.25F, kInfinity})), ElementsAre(0));
  EXPECT_THAT(slot.Find({kInfinity, kInfinity}), IsEmpty());
}

// A thousand anchors: whole runs and a rest, in which one class is above only its own threshold.
TEST_P(FindCandidatesIn, ThresholdsOfClassesHoldInEveryRun) {
  for (const int anchor : {0, 511, 512, 999}) {
    Slot slot = MakeSlot(3, 1, 1000);
    for (int each = 0; each < 1000; ++each) slot.Score(0, each) = 0.375F;
    slot.Score(0, anchor) = 0.0F;
    slot.Score(2, anchor) = 0.25F;
    ASSERT_THAT(AnchorsOf(slot.Find({0.5F, 0.5F, 0.125F})), ElementsAre(anchor));
  }
}

TEST_P(FindCandidatesIn, DenormalsAreNumbersLikeOthers) {
  Slot slot = MakeSlot(1, 1, 1);
  for (int channel = 0; channel < slot.channels(); ++channel) slot.At(channel, 0) = kDenormal;
  const std::vector<Candidate> found = slot.Find(0.0F);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].score, kDenormal);
  EXPECT_TRUE(std::isfinite(found[0].x1));
}

Candidate Box(float x1, float y1, float x2, float y2, float score, int label, int anchor) {
  return {x1, y1, x2, y2, score, label, anchor};
}

std::vector<int> Kept(std::vector<Candidate> candidates, float iou_threshold,
                      bool class_agnostic = false, std::size_t limit = 300) {
  Suppress(iou_threshold, class_agnostic, limit, candidates);
  return AnchorsOf(candidates);
}

// 10 x 10 and its upper half: intersection 50, union 100.
std::vector<Candidate> HalfOverlapping(int first_label, int second_label) {
  return {Box(0, 0, 10, 10, 0.9F, first_label, 0), Box(0, 0, 10, 5, 0.8F, second_label, 1)};
}

TEST(Suppress, KeepsABoxThatOverlapsByExactlyTheThreshold) {
  EXPECT_THAT(Kept(HalfOverlapping(3, 3), 0.5F), ElementsAre(0, 1));
}

TEST(Suppress, DropsABoxThatOverlapsByMoreThanTheThreshold) {
  EXPECT_THAT(Kept(HalfOverlapping(3, 3), std::nextafter(0.5F, 0.0F)), ElementsAre(0));
}

TEST(Suppress, DropsABoxWhoseExcessOverTheThresholdIsLostInFloat) {
  // 8191 x 8191 inside 8192 x 16380: 67092481 of 134184960, one more than half.
  const std::vector<Candidate> boxes{Box(0, 0, 8192, 16380, 0.9F, 0, 0),
                                     Box(0, 0, 8191, 8191, 0.8F, 0, 1)};
  EXPECT_THAT(Kept(boxes, 0.5F), ElementsAre(0));
}

TEST(Suppress, MeasuresTheUnionNotTheSmallerBox) {
  // 12 x 12 and a 6 x 6 inside it: 36 / 144 is a quarter, though all of the smaller is covered.
  const std::vector<Candidate> boxes{Box(0, 0, 12, 12, 0.9F, 0, 0), Box(3, 3, 9, 9, 0.8F, 0, 1)};
  EXPECT_THAT(Kept(boxes, 0.25F), ElementsAre(0, 1));
  EXPECT_THAT(Kept(boxes, 0.24F), ElementsAre(0));
}

TEST(Suppress, MeasuresPartialOverlapOnBothAxes) {
  // Two 8 x 8 boxes shifted by (4, 2): intersection 4 * 6 = 24, union 128 - 24 = 104, 0.2307...
  const std::vector<Candidate> boxes{Box(1, 1, 9, 9, 0.9F, 0, 0), Box(5, 3, 13, 11, 0.8F, 0, 1)};
  EXPECT_THAT(Kept(boxes, 0.231F), ElementsAre(0, 1));
  EXPECT_THAT(Kept(boxes, 0.230F), ElementsAre(0));
}

TEST(Suppress, WorksLeftAndAboveTheOriginToo) {
  const std::vector<Candidate> boxes{Box(-9, -9, -1, -1, 0.9F, 0, 0),
                                     Box(-5, -7, 3, 1, 0.8F, 0, 1)};
  EXPECT_THAT(Kept(boxes, 0.231F), ElementsAre(0, 1));
  EXPECT_THAT(Kept(boxes, 0.230F), ElementsAre(0));
}

TEST(Suppress, KeepsBoxesThatOnlyTouchOrLieApart) {
  const std::vector<Candidate> boxes{
      Box(0, 0, 10, 10, 0.9F, 0, 0), Box(10, 0, 20, 10, 0.8F, 0, 1), Box(0, 10, 10, 20, 0.7F, 0, 2),
      Box(30, 30, 40, 40, 0.6F, 0, 3), Box(0, 30, 10, 40, 0.5F, 0, 4)};
  EXPECT_THAT(Kept(boxes, 0.0F), ElementsAre(0, 1, 2, 3, 4));
}

TEST(Suppress, ThresholdOneKeepsEvenAnIdenticalBox) {
  EXPECT_THAT(Kept({Box(0, 0, 10, 10, 0.9F, 0, 0), Box(0, 0, 10, 10, 0.8F, 0, 1)}, 1.0F),
              ElementsAre(0, 1));
}

TEST(Suppress, ThresholdZeroDropsTheSlightestOverlap) {
  EXPECT_THAT(Kept({Box(0, 0, 10, 10, 0.9F, 0, 0), Box(9.75F, 9.75F, 20, 20, 0.8F, 0, 1)}, 0.0F),
              ElementsAre(0));
}

TEST(Suppress, LeavesOtherClassesAloneUnlessAgnostic) {
  EXPECT_THAT(Kept(HalfOverlapping(3, 4), 0.4F, false), ElementsAre(0, 1));
  EXPECT_THAT(Kept(HalfOverlapping(3, 4), 0.4F, true), ElementsAre(0));
}

TEST(Suppress, ADroppedBoxDropsNoOther) {
  // 1 overlaps 0 by 60 / 140, 2 overlaps 1 by as much, 2 and 0 by 20 / 180.
  const std::vector<Candidate> chain{Box(0, 0, 10, 10, 0.9F, 0, 0), Box(4, 0, 14, 10, 0.8F, 0, 1),
                                     Box(8, 0, 18, 10, 0.7F, 0, 2)};
  EXPECT_THAT(Kept(chain, 0.4F), ElementsAre(0, 2));
}

TEST(Suppress, AnyBetterBoxDropsNotOnlyTheBest) {
  const std::vector<Candidate> boxes{Box(0, 0, 10, 10, 0.9F, 0, 0), Box(50, 0, 60, 10, 0.8F, 0, 1),
                                     Box(50, 0, 60, 9, 0.7F, 0, 2)};
  EXPECT_THAT(Kept(boxes, 0.5F), ElementsAre(0, 1));
}

TEST(Suppress, SortsBestFirst) {
  EXPECT_THAT(
      Kept({Box(0, 0, 1, 1, 0.3F, 0, 0), Box(2, 0, 3, 1, 0.9F, 0, 1), Box(4, 0, 5, 1, 0.6F, 1, 2)},
           0.5F),
      ElementsAre(1, 2, 0));
}

TEST(Suppress, EqualScoresStandInAnchorOrder) {
  EXPECT_THAT(
      Kept({Box(0, 0, 1, 1, 0.5F, 0, 9), Box(2, 0, 3, 1, 0.5F, 1, 4), Box(4, 0, 5, 1, 0.5F, 0, 6)},
           0.5F),
      ElementsAre(4, 6, 9));
}

TEST(Suppress, OfTwoEqualBoxesWithEqualScoresTheLowerAnchorStays) {
  EXPECT_THAT(Kept({Box(0, 0, 10, 10, 0.5F, 0, 8), Box(0, 0, 10, 10, 0.5F, 0, 5)}, 0.7F),
              ElementsAre(5));
}

std::vector<Candidate> Apart(int count) {
  std::vector<Candidate> boxes;
  for (int i = 0; i < count; ++i) {
    const auto x = static_cast<float>(2 * i);
    boxes.push_back(Box(x, 0, x + 1, 1, 0.5F, 0, i));
  }
  return boxes;
}

TEST(Suppress, KeepsAtMostTheLimit) {
  EXPECT_EQ(Kept(Apart(5), 0.7F, false, 4).size(), 4U);
  EXPECT_EQ(Kept(Apart(5), 0.7F, false, 5).size(), 5U);
  EXPECT_EQ(Kept(Apart(5), 0.7F, false, 6).size(), 5U);
  EXPECT_THAT(Kept(Apart(5), 0.7F, false, 1), ElementsAre(0));
}

TEST(Suppress, TheLimitCountsBoxesOfAllClassesTogether) {
  std::vector<Candidate> boxes = Apart(4);
  boxes[1].label = 1;
  boxes[3].label = 1;
  EXPECT_THAT(Kept(boxes, 0.7F, false, 3), ElementsAre(0, 1, 2));
}

TEST(Suppress, TheLimitCountsOnlyWhatIsKept) {
  const std::vector<Candidate> boxes{Box(0, 0, 10, 10, 0.9F, 0, 0), Box(0, 0, 10, 9, 0.8F, 0, 1),
                                     Box(0, 0, 9, 10, 0.7F, 0, 2), Box(20, 0, 30, 10, 0.6F, 0, 3)};
  EXPECT_THAT(Kept(boxes, 0.7F, false, 2), ElementsAre(0, 3));
}

TEST(Suppress, OfNothingIsNothing) { EXPECT_THAT(Kept({}, 0.7F), IsEmpty()); }

TEST(Suppress, AllOfThreeHundredAndOfAroundARunStay) {
  for (const int count : {1, 255, 256, 257, 300}) {
    EXPECT_EQ(Kept(Apart(count), 0.0F, true).size(), static_cast<std::size_t>(count));
  }
}

TEST(Suppress, EmptyAndInvertedBoxesNeitherDropNorAreDropped) {
  const std::vector<Candidate> boxes{
      Box(5, 5, 5, 5, 0.9F, 0, 0),    // a point
      Box(2, 0, 2, 10, 0.8F, 0, 1),   // a line
      Box(9, 9, 1, 1, 0.7F, 0, 2),    // inverted: its area alone would be positive
      Box(0, 0, 10, 10, 0.6F, 0, 3),  // around them all
      Box(5, 5, 5, 5, 0.5F, 0, 4),    // the point again
      Box(9, 1, 1, 9, 0.4F, 0, 5)};   // inverted on one axis
  EXPECT_THAT(Kept(boxes, 0.0F, true), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(Suppress, BoxesInvertedOnOneAxisOverlapNothing) {
  // Their areas are negative, and so would be intersection and union.
  EXPECT_THAT(Kept({Box(0, 1, 100, 0, 0.9F, 0, 0), Box(99, 1, 199, 0, 0.8F, 0, 1)}, 0.7F),
              ElementsAre(0, 1));
  EXPECT_THAT(Kept({Box(1, 0, 0, 100, 0.9F, 0, 0), Box(1, 99, 0, 199, 0.8F, 0, 1)}, 0.7F),
              ElementsAre(0, 1));
}

TEST(Suppress, HugeIdenticalBoxesAreOne) {
  // The area of such a box is beyond float, the corners are not.
  for (const float side : {1e18F, 1e19F, 1e20F, 1e30F, 1.6e38F}) {
    EXPECT_THAT(
        Kept({Box(-side, -side, side, side, 0.9F, 0, 0), Box(-side, -side, side, side, 0.8F, 0, 1)},
             0.7F),
        ElementsAre(0))
        << "half a side of " << side;
  }
}

TEST(Suppress, TinyIdenticalBoxesAreOne) {
  // The area of such a box is below float.
  for (const float side : {1e-10F, 1e-18F, 1e-25F, 1e-38F}) {
    EXPECT_THAT(Kept({Box(0, 0, side, side, 0.9F, 0, 0), Box(0, 0, side, side, 0.8F, 0, 1)}, 0.7F),
                ElementsAre(0))
        << "side " << side;
  }
}

TEST(Suppress, GivesTheSameListWhateverTheOrderOfItsInput) {
  std::mt19937 random(20240607);
  std::vector<Candidate> boxes;
  for (int anchor = 0; anchor < 400; ++anchor) {
    const auto x = static_cast<float>(random() % 60);
    const auto y = static_cast<float>(random() % 60);
    const auto side = static_cast<float>(5 + random() % 20);
    const float score = 0.25F + 0.0625F * static_cast<float>(random() % 8);  // many ties
    boxes.push_back(Box(x, y, x + side, y + side, score, static_cast<int>(random() % 3), anchor));
  }
  const std::vector<int> expected = Kept(boxes, 0.5F);
  ASSERT_GT(expected.size(), 20U);
  ASSERT_LT(expected.size(), 300U);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(boxes.begin(), boxes.end(), random);
    ASSERT_EQ(Kept(boxes, 0.5F), expected) << "round " << round;
  }
}

}  // namespace
}  // namespace nuvik::model
