// What differs between two results of a frame, and of many together.
#include "compare/difference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::Pair;

cv::Mat Mask(const cv::Rect& set) {
  cv::Mat mask = cv::Mat::zeros(10, 20, CV_8UC1);
  mask(set).setTo(255);
  return mask;
}

FrameFindings MakeFindings() {
  FrameFindings findings;
  findings.detections = {{{0, 0, 10, 10}, 0.5F, 1}, {{20, 0, 30, 10}, 0.75F, 2}};
  findings.masks[1] = Mask({0, 0, 4, 4});
  findings.masks[2] = Mask({10, 0, 4, 4});
  findings.verdicts[0] = "confirmed";
  return findings;
}

TEST(CompareFindings, OfTheSameIsNothing) {
  const FrameDifference difference = CompareFindings(MakeFindings(), MakeFindings());
  EXPECT_FALSE(difference.success_changed);
  EXPECT_EQ(difference.matching.matched.size(), 2U);
  EXPECT_EQ(difference.Unmatched(), 0U);
  EXPECT_THAT(difference.mask_ious, ElementsAre(Pair(1, 1.0), Pair(2, 1.0)));
  EXPECT_TRUE(difference.verdict_changes.empty());
}

TEST(CompareFindings, HoldsMasksOfALabelAgainstEachOther) {
  FrameFindings other = MakeFindings();
  other.masks[1] = Mask({0, 0, 4, 2});  // 8 of 16 pixels
  other.masks.erase(2);
  other.masks[3] = Mask({0, 0, 1, 1});
  const FrameDifference difference = CompareFindings(MakeFindings(), other);
  EXPECT_THAT(difference.mask_ious, ElementsAre(Pair(1, 0.5), Pair(2, 0.0), Pair(3, 0.0)));
}

TEST(CompareFindings, TellsVerdictsThatChanged) {
  FrameFindings other = MakeFindings();
  other.detections[0].label = 19;  // by the classifier
  other.verdicts[0] = "rejected";
  const FrameDifference difference = CompareFindings(MakeFindings(), other);
  EXPECT_EQ(difference.matching.class_changes.size(), 1U);
  ASSERT_EQ(difference.verdict_changes.size(), 1U);
  EXPECT_EQ(difference.verdicts, 1U);
  EXPECT_EQ(difference.verdict_changes[0].in_a, "confirmed");
  EXPECT_EQ(difference.verdict_changes[0].in_b, "rejected");
}

TEST(CompareFindings, AsksForAVerdictOnBothSides) {
  FrameFindings other = MakeFindings();
  other.verdicts.clear();
  EXPECT_TRUE(CompareFindings(MakeFindings(), other).verdict_changes.empty());
}

// Differences of the very least size that is told, and half of it.
TEST(IsChanged, GoesByTheDigitsThatAreTold) {
  const auto is_changed = [](float shift, float score, int pixels) {
    FrameFindings plain;
    plain.detections = {{{0, 0, 10, 10}, 0.5F, 1}};
    plain.masks[1] = cv::Mat::zeros(200, 200, CV_8UC1);
    plain.masks[1](cv::Rect(0, 0, 200, 199)).setTo(255);
    FrameFindings findings;
    findings.detections = {{{shift, 0, 10, 10}, 0.5F + score, 1}};
    findings.masks[1] = plain.masks[1].clone();
    findings.masks[1](cv::Rect(0, 199, 200, 1)).colRange(0, pixels).setTo(255);
    return IsChanged(CompareFindings(plain, findings));
  };
  EXPECT_FALSE(is_changed(0, 0, 0));
  EXPECT_FALSE(is_changed(0.004F, 0.00004F, 1));  // 1 of 39801 pixels: 0.00003
  EXPECT_TRUE(is_changed(0.006F, 0, 0));
  EXPECT_TRUE(is_changed(0, 0.00006F, 0));
  EXPECT_TRUE(is_changed(0, 0, 3));  // 0.00008
}

TEST(IsChanged, GoesByLabelsDetectionsVerdictsAndSuccess) {
  const auto is_changed = [](const FrameFindings& other) {
    return IsChanged(CompareFindings(MakeFindings(), other));
  };
  EXPECT_FALSE(is_changed(MakeFindings()));
  FrameFindings other = MakeFindings();
  other.success = false;
  EXPECT_TRUE(is_changed(other));
  other = MakeFindings();
  other.detections[1].label = 3;
  EXPECT_TRUE(is_changed(other));
  other = MakeFindings();
  other.detections.pop_back();
  EXPECT_TRUE(is_changed(other));
  other = MakeFindings();
  other.detections.push_back({{50, 50, 60, 60}, 0.5F, 1});
  EXPECT_TRUE(is_changed(other));
  other = MakeFindings();
  other.verdicts[0] = "rejected";
  EXPECT_TRUE(is_changed(other));
  other = MakeFindings();
  other.masks.erase(2);
  EXPECT_TRUE(is_changed(other));
}

TEST(DifferenceTotals, AddUpFrames) {
  FrameFindings moved = MakeFindings();
  moved.detections[0].box = {1, 0, 11, 10};
  moved.detections[0].score = 0.25F;
  moved.detections[1].label = 3;
  moved.detections.push_back({{50, 50, 60, 60}, 0.5F, 1});
  moved.masks[1] = Mask({0, 0, 4, 2});
  moved.success = false;
  DifferenceTotals totals;
  totals.Add(CompareFindings(MakeFindings(), MakeFindings()));
  totals.Add(CompareFindings(MakeFindings(), moved));
  EXPECT_EQ(totals.frames, 2U);
  EXPECT_EQ(totals.success_changes, 1U);
  EXPECT_EQ(totals.matched, 3U);
  EXPECT_EQ(totals.class_changes, 1U);
  EXPECT_EQ(totals.only_in_a, 0U);
  EXPECT_EQ(totals.only_in_b, 1U);
  EXPECT_EQ(ToJson(totals).dump(),
            "{\"frames\":2,\"success_changes\":1,\"matched\":3,\"only_in_a\":0,\"only_in_b\":1,"
            "\"class_changes\":1,\"box_distance\":{\"mean\":0.3333333333333333,\"worst\":1.0},"
            "\"score_difference\":{\"mean\":0.08333333333333333,\"worst\":0.25},"
            "\"mask_iou\":{\"1\":{\"mean\":0.75,\"worst\":0.5},\"2\":{\"mean\":1.0,\"worst\":1.0}},"
            "\"fece_verdicts\":2,\"fece_verdict_changes\":0}");
  EXPECT_EQ(TotalsText(totals),
            "detections          3 matched, 0 only in A, 1 only in B, 1 of another class\n"
            "box distance        mean 0.33, worst 1.00 pixels\n"
            "score difference    mean 0.0833, worst 0.2500\n"
            "mask IoU, label 1   mean 0.7500, worst 0.5000\n"
            "mask IoU, label 2   mean 1.0000, worst 1.0000\n"
            "fece verdicts       0 of 2 changed\n"
            "frames              1 failed on only one side\n");
}

TEST(DifferenceTotals, OfNothingHaveNoMean) {
  EXPECT_EQ(ToJson(DifferenceTotals())["box_distance"].dump(), "null");
  EXPECT_EQ(SpreadText(SpreadToGreatest({}), 2), "-");
}

}  // namespace
}  // namespace dirty_seg
