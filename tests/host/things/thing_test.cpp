// What detections of several patches are parts of one thing, on masks drawn by hand.
#include "things/thing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <utility>
#include <vector>

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const Labels kLabels({{0, "spill"}, {3, "waste"}}, true);
// Side by side, and over both.
const cv::Rect kLeft(0, 0, 640, 540);
const cv::Rect kRight(640, 0, 640, 540);
const cv::Rect kBelow(0, 540, 640, 540);
const cv::Rect kBelowRight(640, 540, 640, 540);
const cv::Rect kOver(400, 0, 640, 540);

struct Drawn {
  cv::Rect patch;
  std::vector<cv::Rect> pixels;  // rectangles of the mask
  int label = 0;
  float score = 0.5F;
  bool is_confirmed = false;
};

cv::Rect AroundOf(const std::vector<cv::Rect>& pixels) {
  cv::Rect around;
  for (const cv::Rect& area : pixels) around |= area;
  return around;
}

// A frame with these detections; equal rectangles are one patch.
FrameOutcome OutcomeOf(const std::vector<Drawn>& all) {
  FrameOutcome outcome;
  outcome.fece_candidates.emplace();
  outcome.parts.emplace();
  std::vector<cv::Rect> patches;
  for (const Drawn& drawn : all) {
    const auto patch = std::find(patches.begin(), patches.end(), drawn.patch);
    const auto index = static_cast<std::size_t>(patch - patches.begin());
    if (patch == patches.end()) patches.push_back(drawn.patch);
    Part part;
    part.network_label = drawn.label;
    part.patch_index = index;
    part.patch = drawn.patch;
    part.area = AroundOf(drawn.pixels);
    part.mask = cv::Mat::zeros(part.area.size(), CV_8UC1);
    for (const cv::Rect& area : drawn.pixels) part.mask(area - part.area.tl()).setTo(255);
    const cv::Rect_<float> box = part.area;
    if (drawn.is_confirmed) {
      outcome.fece_candidates->push_back(
          {outcome.parts->size(), FeceVerdict::kConfirmed, drawn.score});
    }
    outcome.result.bboxes.push_back({box.x, box.y, box.x + box.width, box.y + box.height});
    outcome.result.scores.push_back(drawn.score);
    outcome.result.labels.push_back(drawn.is_confirmed ? kFeceLabel : drawn.label);
    outcome.parts->push_back(std::move(part));
  }
  return outcome;
}

std::vector<std::vector<std::size_t>> MembersOf(const std::vector<Drawn>& drawn) {
  std::vector<std::vector<std::size_t>> members;
  for (const Thing& thing : FindThings(OutcomeOf(drawn), kLabels)) members.push_back(thing.members);
  return members;
}

TEST(Things, OfNoDetectionAreNone) { EXPECT_THAT(MembersOf({}), IsEmpty()); }

TEST(Things, AStainAcrossABorderIsOne) {
  const auto things = FindThings(
      OutcomeOf({{kLeft, {{600, 100, 40, 20}}, 0, 0.5F}, {kRight, {{640, 105, 30, 25}}, 0, 0.75F}}),
      kLabels);
  ASSERT_THAT(things, SizeIs(1));
  EXPECT_THAT(things[0].box, ElementsAre(600.0F, 100.0F, 670.0F, 130.0F));
  EXPECT_EQ(things[0].score, 0.75F);
  EXPECT_EQ(things[0].kind, (Kind{0, false}));
  EXPECT_THAT(things[0].members, ElementsAre(0U, 1U));
  EXPECT_EQ(things[0].area, cv::Rect(600, 100, 70, 30));
  EXPECT_EQ(things[0].pixels(), 40 * 20 + 30 * 25);
  EXPECT_EQ(things[0].mask.at<std::uint8_t>(2, 39), 255);
  EXPECT_EQ(things[0].mask.at<std::uint8_t>(2, 40), 0);  // y 102 is above the right part
}

// Of 638 and 639 neither is set, and of 640 and 641; then 637 neither, and 642.
TEST(Things, AGapOfTwoPixelsToABorderIsNone) {
  const auto across = [](int last, int first) {
    return MembersOf({{kLeft, {{600, 100, last - 599, 20}}}, {kRight, {{first, 100, 30, 20}}}});
  };
  EXPECT_THAT(across(637, 640), SizeIs(1));
  EXPECT_THAT(across(639, 642), SizeIs(1));
  EXPECT_THAT(across(637, 642), ElementsAre(ElementsAre(0U, 1U)));
  EXPECT_THAT(across(636, 640), SizeIs(2));
  EXPECT_THAT(across(639, 643), SizeIs(2));
  const auto down = [](int last, int first) {
    return MembersOf({{kLeft, {{100, 400, 20, last - 399}}}, {kBelow, {{100, first, 20, 30}}}});
  };
  EXPECT_THAT(down(537, 542), SizeIs(1));
  EXPECT_THAT(down(536, 540), SizeIs(2));
  EXPECT_THAT(down(539, 543), SizeIs(2));
}

// The other patch's pixels are right of the border at 640, and left of that at 400.
TEST(Things, AGapToABorderWithinAnotherPatchIsNone) {
  EXPECT_THAT(MembersOf({{kLeft, {{600, 100, 38, 20}}}, {kOver, {{642, 100, 30, 20}}}}), SizeIs(1));
  EXPECT_THAT(MembersOf({{kLeft, {{360, 100, 38, 20}}}, {kOver, {{402, 100, 30, 20}}}}), SizeIs(1));
  EXPECT_THAT(MembersOf({{kLeft, {{360, 100, 37, 20}}}, {kOver, {{402, 100, 30, 20}}}}), SizeIs(2));
}

TEST(Things, OfMasksWithOtherValuesMeetAlike) {
  FrameOutcome outcome = OutcomeOf({{kLeft, {{600, 100, 40, 20}}}, {kRight, {{640, 100, 30, 20}}}});
  outcome.parts->at(0).mask.setTo(1);
  outcome.parts->at(1).mask.setTo(2);
  const auto things = FindThings(outcome, kLabels);
  ASSERT_THAT(things, SizeIs(1));
  EXPECT_EQ(cv::countNonZero(things[0].mask == 255), 40 * 20 + 30 * 20);
}

TEST(Things, ThatTouchABorderInOtherPlacesAreTwo) {
  EXPECT_THAT(MembersOf({{kLeft, {{600, 100, 40, 20}}}, {kRight, {{640, 123, 30, 20}}}}),
              SizeIs(2));
  EXPECT_THAT(MembersOf({{kLeft, {{600, 100, 40, 20}}}, {kRight, {{640, 122, 30, 20}}}}),
              SizeIs(1));
}

TEST(Things, OfOnePatchStayApart) {
  EXPECT_THAT(MembersOf({{kLeft, {{100, 100, 40, 20}}}, {kLeft, {{120, 110, 40, 20}}}}), SizeIs(2));
}

TEST(Things, OfOnePatchAreOneByWayOfAnother) {
  EXPECT_THAT(MembersOf({{kLeft, {{600, 100, 40, 20}}},
                         {kLeft, {{600, 200, 40, 20}}},
                         {kRight, {{640, 100, 10, 120}}}}),
              ElementsAre(ElementsAre(0U, 1U, 2U)));
}

TEST(Things, AChainOverFourPatchesIsOne) {
  EXPECT_THAT(MembersOf({{kLeft, {{600, 500, 40, 40}}},
                         {kBelow, {{600, 540, 40, 40}}},
                         {kRight, {{640, 500, 40, 40}}},
                         {kBelowRight, {{640, 540, 40, 40}}}}),
              ElementsAre(ElementsAre(0U, 1U, 2U, 3U)));
}

TEST(Things, MeetAtTheCornerOfFourPatches) {
  EXPECT_THAT(MembersOf({{kLeft, {{600, 500, 40, 40}}}, {kBelowRight, {{640, 540, 40, 40}}}}),
              SizeIs(1));
}

TEST(Things, DuplicatesAndNestedFindsOfOverlappingPatchesAreOne) {
  EXPECT_THAT(MembersOf({{kLeft, {{450, 100, 60, 60}}}, {kOver, {{452, 101, 60, 60}}}}), SizeIs(1));
  EXPECT_THAT(MembersOf({{kLeft, {{450, 100, 60, 60}}}, {kOver, {{470, 120, 10, 10}}}}), SizeIs(1));
  // Cut off by the left patch's border at 640, within the other patch.
  EXPECT_THAT(MembersOf({{kLeft, {{500, 100, 140, 60}}}, {kOver, {{500, 100, 240, 60}}}}),
              SizeIs(1));
}

// Two bars, each in a corner of a box that is that of both.
TEST(Things, WhoseBoxesOverlapButNotTheirMasksAreTwo) {
  const std::vector<cv::Rect> upper{{450, 100, 100, 10}, {450, 100, 10, 50}};
  const std::vector<cv::Rect> lower{{470, 190, 80, 10}, {540, 130, 10, 70}};
  EXPECT_THAT(MembersOf({{kLeft, upper}, {kOver, lower}}), SizeIs(2));
}

// Away from every border, a gap is a gap.
TEST(Things, BesideEachOtherWherePatchesOverlapMeetOnlyWithoutAGap) {
  EXPECT_THAT(MembersOf({{kLeft, {{450, 100, 50, 50}}}, {kOver, {{500, 100, 50, 50}}}}), SizeIs(1));
  EXPECT_THAT(MembersOf({{kLeft, {{450, 100, 50, 50}}}, {kOver, {{501, 100, 50, 50}}}}), SizeIs(2));
}

TEST(Things, OfOtherLabelsAreTwo) {
  EXPECT_THAT(MembersOf({{kLeft, {{600, 100, 40, 20}}, 0}, {kRight, {{640, 100, 30, 20}}, 3}}),
              SizeIs(2));
}

TEST(Things, AreConfirmedWhereOnePartIs) {
  const auto things = FindThings(OutcomeOf({{kLeft, {{600, 100, 40, 20}}, 3, 0.75F},
                                            {kRight, {{640, 100, 30, 20}}, 3, 0.5F, true}}),
                                 kLabels);
  ASSERT_THAT(things, SizeIs(1));
  EXPECT_EQ(things[0].kind, (Kind{kFeceLabel, true}));
  EXPECT_EQ(things[0].score, 0.75F);
}

TEST(Things, ThatAreBothConfirmedAreOneWhateverTheNetworkTookThemFor) {
  EXPECT_THAT(MembersOf({{kLeft, {{600, 100, 40, 20}}, 0, 0.5F, true},
                         {kRight, {{640, 100, 30, 20}}, 3, 0.5F, true}}),
              SizeIs(1));
}

TEST(Things, WithoutAMaskStayApart) {
  const auto things =
      FindThings(OutcomeOf({{kLeft, {}, 0, 0.5F}, {kRight, {}, 0, 0.25F}}), kLabels);
  ASSERT_THAT(things, SizeIs(2));
  EXPECT_EQ(things[0].pixels(), 0);
  EXPECT_EQ(things[0].score, 0.5F);
}

// Two things and a third part, of equal scores, in every order.
TEST(Things, DoNotDependOnTheOrderOfDetections) {
  std::vector<Drawn> drawn{{kLeft, {{600, 100, 40, 20}}},
                           {kRight, {{640, 100, 30, 20}}},
                           {kRight, {{700, 300, 30, 20}}},
                           {kBelow, {{10, 540, 30, 20}}},
                           {kLeft, {{10, 500, 30, 40}}}};
  std::vector<std::size_t> order{0, 1, 2, 3, 4};
  const std::vector<Thing> expected = FindThings(OutcomeOf(drawn), kLabels);
  ASSERT_THAT(expected, SizeIs(3));
  while (std::next_permutation(order.begin(), order.end())) {
    std::vector<Drawn> shuffled;
    for (const std::size_t i : order) shuffled.push_back(drawn[i]);
    const std::vector<Thing> things = FindThings(OutcomeOf(shuffled), kLabels);
    ASSERT_THAT(things, SizeIs(3));
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(things[i].box, expected[i].box);
      EXPECT_EQ(things[i].area, expected[i].area);
      EXPECT_EQ(cv::countNonZero(things[i].mask != expected[i].mask), 0);
    }
  }
}

// The corners of a box, and the middles of its sides.
TEST(Things, OfOneScoreAndBoxDoNotDependOnTheOrderEither) {
  const Drawn corners{kLeft, {{450, 100, 4, 4}, {546, 196, 4, 4}}};
  const Drawn sides{kOver,
                    {{500, 100, 4, 4}, {500, 196, 4, 4}, {450, 150, 4, 4}, {546, 150, 4, 4}}};
  const auto things = FindThings(OutcomeOf({corners, sides}), kLabels);
  const auto turned = FindThings(OutcomeOf({sides, corners}), kLabels);
  ASSERT_THAT(things, SizeIs(2));
  ASSERT_THAT(turned, SizeIs(2));
  ASSERT_EQ(things[0].box, things[1].box);
  for (std::size_t i = 0; i < 2; ++i) EXPECT_EQ(things[i].pixels(), turned[i].pixels());
}

// Of two equal things, one is of two detections.
TEST(Things, ThatLookAlikeStandInTheOrderOfTheirNumberOfDetections) {
  const std::vector<cv::Rect> pixels{{600, 100, 40, 20}};
  const Drawn alone{kLeft, pixels, 3, 0.5F, true};
  const Drawn one{kLeft, pixels, 0, 0.5F, true};
  const Drawn other{kOver, pixels, 0, 0.5F};
  EXPECT_THAT(MembersOf({alone, one, other}), ElementsAre(ElementsAre(0U), ElementsAre(1U, 2U)));
  EXPECT_THAT(MembersOf({one, other, alone}), ElementsAre(ElementsAre(2U), ElementsAre(0U, 1U)));
}

}  // namespace
}  // namespace dirty_seg
