// Which detection is which, with overlaps worked out by hand.
#include "compare/matching.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Detection Found(float x1, float y1, float x2, float y2, int label = 0, float score = 0.5F) {
  return {{x1, y1, x2, y2}, score, label};
}

TEST(BoxIou, IsTheSharedPartOfBoth) {
  // 10 x 10 and the same moved by 5: 50 of 150 pixels.
  EXPECT_DOUBLE_EQ(BoxIou(Found(0, 0, 10, 10), Found(5, 0, 15, 10)), 1.0 / 3.0);
  EXPECT_EQ(BoxIou(Found(0, 0, 10, 10), Found(0, 0, 10, 5)), 0.5);
  EXPECT_EQ(BoxIou(Found(0, 0, 10, 10), Found(10, 0, 20, 10)), 0.0);
  EXPECT_EQ(BoxIou(Found(0, 0, 10, 10), Found(20, 20, 30, 30)), 0.0);
}

TEST(BoxIou, OfBoxesWithoutAreaIsAllOrNothing) {
  EXPECT_EQ(BoxIou(Found(3, 3, 3, 9), Found(3, 3, 3, 9)), 1.0);
  EXPECT_EQ(BoxIou(Found(3, 3, 3, 9), Found(3, 3, 3, 8)), 0.0);
  EXPECT_EQ(BoxIou(Found(3, 3, 3, 9), Found(0, 0, 10, 10)), 0.0);
}

TEST(MatchDetections, PairsTheSameLabelAndTellsHowFarApart) {
  const Matching matching =
      MatchDetections({Found(0, 0, 10, 10, 1, 0.75F), Found(100, 100, 120, 120, 2, 0.5F)},
                      {Found(101, 100, 120, 123, 2, 0.625F), Found(0, 0, 10, 10, 1, 0.5F)});
  ASSERT_EQ(matching.matched.size(), 2U);
  EXPECT_EQ(matching.matched[0].a, 0U);  // the better overlap first
  EXPECT_EQ(matching.matched[0].b, 1U);
  EXPECT_EQ(matching.matched[0].box_distance, 0.0);
  EXPECT_EQ(matching.matched[0].score_difference, 0.25);
  EXPECT_EQ(matching.matched[1].a, 1U);
  EXPECT_EQ(matching.matched[1].b, 0U);
  EXPECT_EQ(matching.matched[1].box_distance, 3.0);
  EXPECT_EQ(matching.matched[1].score_difference, 0.125);
  EXPECT_THAT(matching.class_changes, IsEmpty());
  EXPECT_THAT(matching.only_in_a, IsEmpty());
  EXPECT_THAT(matching.only_in_b, IsEmpty());
}

TEST(MatchDetections, GivesTheBestOverlapTheFirstChoice) {
  // The first of A overlaps the only one of B by 0.9, the second wholly.
  const Matching matching =
      MatchDetections({Found(0, 0, 10, 9), Found(0, 0, 10, 10)}, {Found(0, 0, 10, 10)});
  ASSERT_EQ(matching.matched.size(), 1U);
  EXPECT_EQ(matching.matched[0].a, 1U);
  EXPECT_THAT(matching.only_in_a, ElementsAre(0U));
}

TEST(MatchDetections, AsksForHalfOfTheArea) {
  EXPECT_EQ(MatchDetections({Found(0, 0, 10, 10)}, {Found(0, 0, 10, 5)}).matched.size(), 1U);
  const Matching below = MatchDetections({Found(0, 0, 10, 10)}, {Found(0, 0, 10, 4.9F)});
  EXPECT_THAT(below.matched, IsEmpty());
  EXPECT_THAT(below.only_in_a, ElementsAre(0U));
  EXPECT_THAT(below.only_in_b, ElementsAre(0U));
}

TEST(MatchDetections, TellsTheSamePlaceUnderAnotherLabel) {
  const Matching matching =
      MatchDetections({Found(0, 0, 10, 10, 3, 0.5F)}, {Found(0, 0, 12, 10, 19, 0.75F)});
  EXPECT_THAT(matching.matched, IsEmpty());
  ASSERT_EQ(matching.class_changes.size(), 1U);
  EXPECT_EQ(matching.class_changes[0].box_distance, 2.0);
  EXPECT_EQ(matching.class_changes[0].score_difference, 0.25);
  EXPECT_THAT(matching.only_in_a, IsEmpty());
  EXPECT_THAT(matching.only_in_b, IsEmpty());
}

TEST(MatchDetections, PrefersTheSameLabelToABetterPlace) {
  // B has the same label 0.6 away and another label right there.
  const Matching matching =
      MatchDetections({Found(0, 0, 10, 10, 1)}, {Found(0, 0, 10, 10, 2), Found(0, 0, 10, 6, 1)});
  ASSERT_EQ(matching.matched.size(), 1U);
  EXPECT_EQ(matching.matched[0].b, 1U);
  EXPECT_THAT(matching.class_changes, IsEmpty());
  EXPECT_THAT(matching.only_in_b, ElementsAre(0U));
}

TEST(MatchDetections, OfNothingIsNothing) {
  const Matching matching = MatchDetections({}, {Found(0, 0, 1, 1), Found(0, 0, 1, 1)});
  EXPECT_THAT(matching.matched, IsEmpty());
  EXPECT_THAT(matching.only_in_b, ElementsAre(0U, 1U));
}

cv::Mat Mask(const cv::Rect& set, const cv::Size& size = {20, 10}) {
  cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
  mask(set).setTo(255);
  return mask;
}

TEST(MaskIou, CountsPixels) {
  // 6 x 4 and 6 x 4 moved by 2: 16 of 32.
  EXPECT_EQ(MaskIou(Mask({0, 0, 6, 4}), Mask({2, 0, 6, 4})), 0.5);
  EXPECT_EQ(MaskIou(Mask({0, 0, 6, 4}), Mask({0, 0, 6, 4})), 1.0);
  EXPECT_EQ(MaskIou(Mask({0, 0, 6, 4}), Mask({10, 5, 6, 4})), 0.0);
}

TEST(MaskIou, TakesEveryValueButZeroAsSet) {
  const cv::Mat other = Mask({0, 0, 6, 4}) / 255;
  EXPECT_EQ(MaskIou(Mask({0, 0, 6, 4}), other), 1.0);
  EXPECT_EQ(MaskIou(Mask({0, 0, 6, 4}) & 2, other), 1.0);  // 2 and 1 have no bit in common
}

TEST(MaskIou, OfMasksWithoutAPixel) {
  EXPECT_EQ(MaskIou({}, {}), 1.0);
  EXPECT_EQ(MaskIou({}, cv::Mat::zeros(10, 20, CV_8UC1)), 1.0);
  EXPECT_EQ(MaskIou({}, Mask({0, 0, 1, 1})), 0.0);
  EXPECT_EQ(MaskIou(Mask({0, 0, 1, 1}), Mask({0, 0, 1, 1}, {19, 10})), 0.0);
}

}  // namespace
}  // namespace dirty_seg
