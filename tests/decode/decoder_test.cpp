// The whole decoder on tensors written by hand: patches, slots, thresholds, layouts, refusals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/decoding.h"
#include "support/segmentation_outputs.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using test::HeadLayout;
using test::SegmentationOutputs;
using test::StandardErrorOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(Decoder, GivesBoxLabelScoreAndMaskInPatchPixels) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 17, {32, 20, 16, 8, 1, 0.75F});
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(1));
  ExpectBox(objects[0], 24, 16, 16, 8);
  EXPECT_EQ(objects[0].label, 1);
  EXPECT_EQ(objects[0].score, 0.75F);
  EXPECT_EQ(objects[0].mask.size(), cv::Size(64, 64));
  EXPECT_EQ(objects[0].mask.type(), CV_8UC1);
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(24, 16, 16, 8));
}

TEST(Decoder, NothingFoundIsOneEmptyListASlot) {
  const Lists objects = Decode(Outputs(Batch(3)), {{0, 0, 64, 64}, {0, 0, 64, 64}, {0, 0, 9, 9}});
  EXPECT_THAT(objects, ElementsAre(IsEmpty(), IsEmpty(), IsEmpty()));
}

TEST(Decoder, SaysNothingOnStandardErrorWhenAllIsWell) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 20, 16, 8, 1, 0.75F});
  EXPECT_THAT(StandardErrorOf([&] { DecodeOne(outputs); }), IsEmpty());
}

TEST(Decoder, InvertsScaleAndBorderOfAWidePatch) {
  // 320 x 280 becomes 64 x 56 with 4 rows above: one network pixel is five of the patch.
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 28, 16, 8, 0, 0.5F});
  const Lists objects = Decode(outputs, {{0, 0, 320, 280}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1)));
  ExpectBox(objects[0][0], 120, 100, 80, 40);
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(320, 280));
  EXPECT_EQ(FilledRectangle(objects[0][0].mask), cv::Rect(120, 100, 80, 40));
}

TEST(Decoder, InvertsScaleAndBorderOfAnUprightPatch) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {28, 32, 8, 16, 0, 0.5F});
  const Lists objects = Decode(outputs, {{0, 0, 280, 320}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1)));
  ExpectBox(objects[0][0], 100, 120, 40, 80);
  EXPECT_EQ(FilledRectangle(objects[0][0].mask), cv::Rect(100, 120, 40, 80));
}

TEST(Decoder, MasksRoundLeftAndTopDownRightAndBottomUp) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {20, 30.5F, 10.5F, 4.5F, 0, 0.5F});  // 14.75 to 25.25, 28.25 to 32.75
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(1));
  ExpectBox(objects[0], 14.75F, 28.25F, 10.5F, 4.5F);
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(14, 28, 12, 5));
}

TEST(Decoder, WholeBoxEdgesAreNotRoundedAnyFurther) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {20, 30, 10, 4, 0, 0.5F});
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(1));
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(15, 28, 10, 4));
}

TEST(Decoder, BoxesSmallerThanAPixelMaskThePixelTheyLieIn) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {20.5F, 30.5F, 0.25F, 0.125F, 0, 0.5F});
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(1));
  ExpectBox(objects[0], 20.375F, 30.4375F, 0.25F, 0.125F);
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(20, 30, 1, 1));
}

TEST(Decoder, OnePixelBoxesInTheCornersAreKept) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {0.5F, 0.5F, 1, 1, 0, 0.5F});
  outputs.Put(0, 1, {63.5F, 63.5F, 1, 1, 0, 0.5F});
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(2));
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(0, 0, 1, 1));
  EXPECT_EQ(FilledRectangle(objects[1].mask), cv::Rect(63, 63, 1, 1));
}

TEST(Decoder, ClipsBoxesToThePatch) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {2, 60, 10, 20, 0, 0.5F});    // -3 to 7, 50 to 70
  outputs.Put(0, 1, {62, 3, 16, 10, 0, 0.375F});  // 54 to 70, -2 to 8
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(2));
  ExpectBox(objects[0], 0, 50, 7, 14);
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(0, 50, 7, 14));
  ExpectBox(objects[1], 54, 0, 10, 8);
  EXPECT_EQ(FilledRectangle(objects[1].mask), cv::Rect(54, 0, 10, 8));
}

// Two boxes on one another: what falls by its class suppresses nothing.
TEST(Decoder, TakesThresholdsOfClassesBeforeItSuppresses) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 32, 16, 16, 0, 0.75F});
  outputs.Put(0, 1, {32, 32, 16, 16, 1, 0.5F});
  const auto found = [&](const std::string& keys) {
    return LabelsAndScores(DecodeOne(outputs, "{class_agnostic: true" + keys + "}"));
  };
  const std::pair<int, float> of_0{0, 0.75F};
  const std::pair<int, float> of_1{1, 0.5F};
  EXPECT_THAT(found(""), ElementsAre(of_0));
  EXPECT_THAT(found(", score_thresholds: {0: 0.75}"), ElementsAre(of_1));
  EXPECT_THAT(found(", score_thresholds: {0: 0.5, 1: 0.125}"), ElementsAre(of_0));
  EXPECT_THAT(found(", score_threshold: 0.875, score_thresholds: {1: 0.125}"), ElementsAre(of_1));
  EXPECT_THAT(found(", score_thresholds: {2: 0, 1000000: 1}"), ElementsAre(of_0));
}

TEST(Decoder, KeepsTheClassesThatAreLookedFor) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 32, 16, 16, 0, 0.75F});
  outputs.Put(0, 1, {32, 32, 16, 16, 1, 0.5F});
  const auto found = [&](const std::string& keys) {
    return LabelsAndScores(DecodeOne(outputs, "{class_agnostic: true, classes: " + keys + "}"));
  };
  EXPECT_THAT(found("[1]"), ElementsAre(std::pair(1, 0.5F)));
  EXPECT_THAT(found("[0]"), ElementsAre(std::pair(0, 0.75F)));
  EXPECT_THAT(found("[1, 0, 1]"), ElementsAre(std::pair(0, 0.75F)));
  EXPECT_THAT(found("[2]"), IsEmpty());
  EXPECT_THAT(found("[1], score_thresholds: {1: 0.5}"), IsEmpty());
}

TEST(Decoder, ABoxLargerThanThePatchBecomesThePatch) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {30, 30, 3e30F, 1e38F, 0, 0.5F});
  const Lists objects = Decode(outputs, {{0, 0, 100, 77}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1)));
  ExpectBox(objects[0][0], 0, 0, 100, 77);
  EXPECT_EQ(FilledRectangle(objects[0][0].mask), cv::Rect(0, 0, 100, 77));
}

TEST(Decoder, BoxesOutsideThePatchAreNoDetections) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {-10, 30, 10, 10, 0, 0.5F});
  outputs.Put(0, 1, {80, 30, 10, 10, 0, 0.5F});
  outputs.Put(0, 2, {30, -10, 10, 10, 0, 0.5F});
  outputs.Put(0, 3, {30, 80, 10, 10, 0, 0.5F});
  outputs.Put(0, 4, {-5, 30, 10, 10, 0, 0.5F});  // touches the left edge
  outputs.Put(0, 5, {69, 30, 10, 10, 0, 0.5F});  // touches the right edge
  EXPECT_THAT(DecodeOne(outputs), IsEmpty());
}

TEST(Decoder, EmptyAndInvertedBoxesAreNoDetections) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {30, 30, 0, 10, 0, 0.5F});
  outputs.Put(0, 1, {30, 30, 10, 0, 0, 0.5F});
  outputs.Put(0, 2, {30, 30, -10, 10, 0, 0.5F});
  outputs.Put(0, 3, {30, 30, 10, -10, 0, 0.5F});
  outputs.Put(0, 4, {30, 30, -10, -10, 0, 0.5F});
  EXPECT_THAT(DecodeOne(outputs), IsEmpty());
}

TEST(Decoder, BoxesInTheGreyBorderAreNoDetectionsAndSuppressNone) {
  // 64 x 32 has 16 grey rows above: rows 16 to 47 are the patch.
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 8, 32, 16, 0, 0.9F});     // rows 0 to 16
  outputs.Put(0, 1, {32, 8.5F, 32, 17, 0, 0.5F});  // rows 0 to 17: overlaps it by 16 / 17
  const Lists objects = Decode(outputs, {{0, 0, 64, 32}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1)));
  ExpectBox(objects[0][0], 16, 0, 32, 1);
  EXPECT_EQ(objects[0][0].score, 0.5F);
}

TEST(Decoder, OverlapIsMeasuredBeforeClipping) {
  // Inside the patch both are its left 4 columns; whole, they share 4 of 12 + 4 - 4 columns.
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {-2, 32, 12, 10, 0, 0.9F});
  outputs.Put(0, 1, {2, 32, 4, 10, 0, 0.8F});
  EXPECT_THAT(DecodeOne(outputs), SizeIs(2));
}

TEST(Decoder, ScoresMustBeAboveTheThreshold) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {10, 10, 4, 4, 0, 0.25F});
  outputs.Put(0, 1, {20, 10, 4, 4, 0, std::nextafter(0.25F, 1.0F)});
  outputs.Put(0, 2, {30, 10, 4, 4, 0, 0.5F});
  outputs.Put(0, 3, {40, 10, 4, 4, 0, std::nextafter(0.5F, 1.0F)});
  EXPECT_THAT(DecodeOne(outputs), SizeIs(3));
  EXPECT_THAT(DecodeOne(outputs, "{score_threshold: 0.5}"), SizeIs(1));
  EXPECT_THAT(DecodeOne(outputs, "{score_threshold: 1}"), IsEmpty());
  EXPECT_THAT(DecodeOne(outputs, "{score_threshold: 0}"), SizeIs(4));
}

TEST(Decoder, ScoresComeAsTheNetworkGaveThem) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {10, 10, 4, 4, 0, 0.7654321F});
  outputs.Put(0, 1, {20, 10, 4, 4, 1, 1.5F});
  EXPECT_THAT(LabelsAndScores(DecodeOne(outputs)),
              ElementsAre(std::pair(1, 1.5F), std::pair(0, 0.7654321F)));
}

TEST(Decoder, SuppressesAboveTheConfiguredOverlap) {
  EXPECT_THAT(DecodeOne(Overlapping()), SizeIs(3));
  EXPECT_THAT(DecodeOne(Overlapping(), "{iou_threshold: 0.67}"), SizeIs(3));
  EXPECT_THAT(LabelsAndScores(DecodeOne(Overlapping(), "{iou_threshold: 0.66}")),
              ElementsAre(std::pair(0, 0.9F), std::pair(1, 0.7F)));
}

TEST(Decoder, SuppressesAcrossClassesWhenAgnostic) {
  EXPECT_THAT(LabelsAndScores(DecodeOne(Overlapping(), "{class_agnostic: true}")),
              ElementsAre(std::pair(0, 0.9F), std::pair(0, 0.8F)));
}

TEST(Decoder, KeepsTheBestUpToTheLimit) {
  EXPECT_THAT(LabelsAndScores(DecodeOne(Overlapping(), "{max_detections: 2}")),
              ElementsAre(std::pair(0, 0.9F), std::pair(0, 0.8F)));
  EXPECT_THAT(LabelsAndScores(DecodeOne(Overlapping(), "{max_detections: 1}")),
              ElementsAre(std::pair(0, 0.9F)));
}

TEST(Decoder, TheLimitHoldsForEachPatchByItself) {
  SegmentationOutputs outputs = Outputs(Batch(2));
  for (const int slot : {0, 1}) {
    outputs.Put(slot, 0, {10, 10, 4, 4, 0, 0.5F});
    outputs.Put(slot, 1, {20, 10, 4, 4, 0, 0.75F});
  }
  const Lists objects = Decode(outputs, {{0, 0, 64, 64}, {0, 0, 64, 64}}, "{max_detections: 1}");
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_EQ(objects[1][0].score, 0.75F);
}

TEST(Decoder, EqualScoresComeInAnchorOrder) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 40, {10, 10, 4, 4, 0, 0.5F});
  outputs.Put(0, 7, {20, 10, 4, 4, 1, 0.5F});
  outputs.Put(0, 83, {30, 10, 4, 4, 0, 0.5F});
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(3));
  EXPECT_EQ(objects[0].x, 18.0F);
  EXPECT_EQ(objects[1].x, 8.0F);
  EXPECT_EQ(objects[2].x, 28.0F);
}

// 160 x 160 has 525 anchors: boxes of 4 x 4 in a grid that do not touch.
TEST(Decoder, FindsEveryObjectAroundAPowerOfTwoAndTheDefaultLimit) {
  HeadLayout layout;
  layout.input_side = 160;
  for (const int count : {0, 1, 255, 256, 257, 299, 300, 301}) {
    SegmentationOutputs outputs = Outputs(layout);
    for (int i = 0; i < count; ++i) {
      const int column = i % 19;
      const int row = i / 19;
      outputs.Put(0, 524 - i,
                  {4.0F + 8.0F * static_cast<float>(column), 4.0F + 8.0F * static_cast<float>(row),
                   4, 4, i % 2, 0.5F});
    }
    const Lists objects = Decode(outputs, {{0, 0, 160, 160}});
    ASSERT_THAT(objects, SizeIs(1));
    EXPECT_EQ(objects[0].size(), static_cast<std::size_t>(std::min(count, 300))) << count;
  }
}

TEST(Decoder, AMaskPixelIsAboveTheMaskThreshold) {
  // The probability 0.5 is the logit 0; 0.9 is 2.1972.
  SegmentationOutputs outputs(Batch(1));
  outputs.FillPrototype(0, 0, 1.0F);
  const auto pixels = [&outputs](float logit, const std::string& threshold) {
    outputs.Put(0, 0, {32, 32, 8, 8, 0, 0.5F, logit});
    const std::vector<Object> objects = DecodeOne(outputs, "{mask_threshold: " + threshold + "}");
    return objects.empty() ? -1 : cv::countNonZero(objects[0].mask);
  };
  EXPECT_EQ(pixels(0.0F, "0.5"), 0);
  EXPECT_EQ(pixels(1e-6F, "0.5"), 64);
  EXPECT_EQ(pixels(2.197F, "0.9"), 0);
  EXPECT_EQ(pixels(2.198F, "0.9"), 64);
  EXPECT_EQ(pixels(-2.197F, "0.1"), 64);
  EXPECT_EQ(pixels(-2.198F, "0.1"), 0);
}

TEST(Decoder, LogitOfTheMaskThresholdIsTakenInDouble) {
  // log(p / (1 - p)) of the float beside 0.4, rounded once; in float it is -0x1.9f3244p-2.
  constexpr float kLogit = -0x1.9f323ep-2F;
  SegmentationOutputs outputs(Batch(1));
  outputs.FillPrototype(0, 0, 1.0F);
  const auto pixels = [&outputs](float logit) {
    outputs.Put(0, 0, {32, 32, 8, 8, 0, 0.5F, logit});
    return cv::countNonZero(DecodeOne(outputs, "{mask_threshold: 0.4}").at(0).mask);
  };
  EXPECT_EQ(pixels(kLogit), 0);
  EXPECT_EQ(pixels(std::nextafter(kLogit, 0.0F)), 64);
}

TEST(Decoder, MaskThresholdZeroTakesEveryPixelOfTheBoxAndOneTakesNone) {
  SegmentationOutputs outputs(Batch(1));
  outputs.FillPrototype(0, 0, 1.0F);
  outputs.Put(0, 0, {32, 32, 8, 8, 0, 0.5F, -1e30F});
  EXPECT_EQ(FilledRectangle(DecodeOne(outputs, "{mask_threshold: 0}").at(0).mask),
            cv::Rect(28, 28, 8, 8));
  outputs.Put(0, 0, {32, 32, 8, 8, 0, 0.5F, 1e30F});
  EXPECT_EQ(cv::countNonZero(DecodeOne(outputs, "{mask_threshold: 1}").at(0).mask), 0);
}

TEST(Decoder, AnObjectWithoutMaskPixelsIsStillAnObject) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 32, 8, 8, 0, 0.5F, -1.0F});
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(1));
  EXPECT_EQ(objects[0].mask.size(), cv::Size(64, 64));
  EXPECT_EQ(cv::countNonZero(objects[0].mask), 0);
}

TEST(Decoder, EveryCoefficientMeetsItsPrototype) {
  HeadLayout layout;
  for (int k = 0; k < layout.coefficients; ++k) {
    SegmentationOutputs outputs(layout);
    outputs.Put(0, 0, {32, 32, 64, 64, 1, 0.5F, 0.0F});
    outputs.SetPrediction(0, 4 + layout.classes + k, 0, 1.0F);
    outputs.SetPrototype(0, k, 2, 5, 1.0F);  // its centre is at x = 22, y = 10
    const std::vector<Object> objects = DecodeOne(outputs);
    ASSERT_THAT(objects, SizeIs(1));
    EXPECT_EQ(objects[0].mask.at<std::uint8_t>(10, 22), 255) << k;
    EXPECT_EQ(objects[0].mask.at<std::uint8_t>(22, 10), 0) << k;
    // Every pixel nearer than a cell: 8 x 8 of them.
    EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(18, 6, 8, 8)) << k;
  }
}

TEST(Decoder, EveryObjectHasItsOwnMask) {
  SegmentationOutputs outputs(Batch(1));
  outputs.FillPrototype(0, 0, 1.0F);
  outputs.Put(0, 0, {20, 20, 8, 8, 0, 0.9F, 1.0F});
  outputs.Put(0, 1, {40, 40, 8, 8, 0, 0.8F, -1.0F});
  outputs.Put(0, 2, {40, 20, 8, 8, 0, 0.7F, 1.0F});
  const std::vector<Object> objects = DecodeOne(outputs);
  ASSERT_THAT(objects, SizeIs(3));
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(16, 16, 8, 8));
  EXPECT_EQ(cv::countNonZero(objects[1].mask), 0);
  EXPECT_EQ(FilledRectangle(objects[2].mask), cv::Rect(36, 16, 8, 8));
}

}  // namespace
}  // namespace nuvik::model
