// The whole decoder on tensors written by hand: patches, slots, thresholds, layouts, refusals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <opencv2/core.hpp>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "common/sole_owner.h"
#include "engine/yolov8_postprocess.h"
#include "support/case_name.h"
#include "support/segmentation_outputs.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using alg::common::AIBuff;
using alg::common::AIEngineConfig;
using test::HeadLayout;
using test::RejectionOf;
using test::SegmentationOutputs;
using test::StandardErrorOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Lists = std::vector<std::vector<Object>>;
using BufferMap = std::map<std::string, AIBuff>;
using Detection = SegmentationOutputs::Detection;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

HeadLayout Batch(int batch) {
  HeadLayout layout;
  layout.batch = batch;
  return layout;
}

// Tensors whose first prototype is 4 everywhere: a coefficient of 1 fills the box.
SegmentationOutputs Outputs(const HeadLayout& layout) {
  SegmentationOutputs outputs(layout);
  for (int slot = 0; slot < layout.batch; ++slot) outputs.FillPrototype(slot, 0, 4.0F);
  return outputs;
}

std::vector<cv::Size> Sizes(const std::vector<cv::Rect>& patches) {
  std::vector<cv::Size> sizes;
  for (const cv::Rect& patch : patches) sizes.push_back(patch.size());
  return sizes;
}

YAML::Node Root(const std::vector<cv::Rect>& patches, const std::string& postprocess = "{}") {
  YAML::Node root = YAML::Load("postprocess: " + postprocess);
  root["patch"]["enable"] = true;
  for (const cv::Rect& patch : patches) {
    root["patch"]["patches"].push_back(
        std::vector<int>{patch.x, patch.y, patch.width, patch.height});
  }
  return root;
}

Lists Decode(const SegmentationOutputs& outputs, const std::vector<cv::Rect>& patches,
             const std::string& postprocess = "{}") {
  Yolov8Postprocess decoder(Root(patches, postprocess), outputs.Config(), Sizes(patches));
  BufferMap buffers = outputs.Buffers();
  Lists objects;
  EXPECT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
  return objects;
}

// The objects of a 64 x 64 patch, whose pixels are the network's.
std::vector<Object> DecodeOne(const SegmentationOutputs& outputs,
                              const std::string& postprocess = "{}") {
  const Lists objects = Decode(outputs, {{0, 0, 64, 64}}, postprocess);
  EXPECT_EQ(objects.size(), 1U);
  return objects.empty() ? std::vector<Object>() : objects[0];
}

void ExpectBox(const Object& object, float x, float y, float width, float height) {
  EXPECT_EQ(object.x, x);
  EXPECT_EQ(object.y, y);
  EXPECT_EQ(object.width, width);
  EXPECT_EQ(object.height, height);
}

// The smallest rectangle around the mask's pixels, which must fill it.
cv::Rect FilledRectangle(const cv::Mat& mask) {
  cv::Rect bounds;
  for (int y = 0; y < mask.rows; ++y) {
    for (int x = 0; x < mask.cols; ++x) {
      const int value = mask.at<std::uint8_t>(y, x);
      EXPECT_TRUE(value == 0 || value == 255) << value;
      if (value == 255) bounds |= cv::Rect(x, y, 1, 1);
    }
  }
  EXPECT_EQ(cv::countNonZero(mask), bounds.area());
  return bounds;
}

std::vector<std::pair<int, float>> LabelsAndScores(const std::vector<Object>& objects) {
  std::vector<std::pair<int, float>> result;
  for (const Object& object : objects) result.emplace_back(object.label, object.score);
  return result;
}

void ExpectSameObjects(const std::vector<Object>& a, const std::vector<Object>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    ExpectBox(a[i], b[i].x, b[i].y, b[i].width, b[i].height);
    EXPECT_EQ(a[i].label, b[i].label);
    EXPECT_EQ(a[i].score, b[i].score);
    ASSERT_EQ(a[i].mask.size(), b[i].mask.size());
    EXPECT_EQ(cv::countNonZero(a[i].mask != b[i].mask), 0);
  }
}

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

// Two boxes of a class that share 80 of 120: two thirds; and one of another class over them.
SegmentationOutputs Overlapping() {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 5, {20, 20, 10, 10, 0, 0.9F});
  outputs.Put(0, 3, {22, 20, 10, 10, 0, 0.8F});
  outputs.Put(0, 1, {20, 20, 10, 10, 1, 0.7F});
  return outputs;
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
      outputs.Put(0, 524 - i,
                  {4.0F + 8.0F * static_cast<float>(i % 19),
                   4.0F + 8.0F * static_cast<float>(i / 19), 4, 4, i % 2, 0.5F});
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

// --- Slots and patches

SegmentationOutputs OneBoxASlot(const HeadLayout& layout) {
  SegmentationOutputs outputs(layout);
  for (int slot = 0; slot < layout.batch; ++slot) {
    const auto number = static_cast<float>(slot);
    outputs.FillPrototype(slot, 0, slot % 2 == 0 ? 4.0F : -4.0F);
    outputs.Put(slot, slot, {32, 32, 8, 8 + 2 * number, slot % 2, 0.5F + 0.0625F * number});
  }
  return outputs;
}

struct LayoutCase {
  const char* name;
  HeadLayout layout;
};

void PrintTo(const LayoutCase& layout_case, std::ostream* out) { *out << layout_case.name; }

class DecoderLayout : public testing::TestWithParam<LayoutCase> {};

TEST_P(DecoderLayout, EverySlotIsReadFromItsOwnPlace) {
  const Lists objects =
      Decode(OneBoxASlot(GetParam().layout), std::vector<cv::Rect>(4, {0, 0, 64, 64}));
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1), SizeIs(1), SizeIs(1)));
  for (std::size_t slot = 0; slot < 4; ++slot) {
    const Object& object = objects[slot][0];
    const auto number = static_cast<float>(slot);
    ExpectBox(object, 28, 28 - number, 8, 8 + 2 * number);
    EXPECT_EQ(object.score, 0.5F + 0.0625F * number);
    EXPECT_EQ(object.label, static_cast<int>(slot % 2));
    EXPECT_EQ(cv::countNonZero(object.mask),
              slot % 2 == 0 ? 8 * (8 + 2 * static_cast<int>(slot)) : 0);
  }
}

HeadLayout FourSlots(bool anchor_major, alg::common::AIDataType predictions,
                     alg::common::AIDataType prototypes, bool swapped = false) {
  HeadLayout layout = Batch(4);
  layout.anchor_major = anchor_major;
  layout.predictions_type = predictions;
  layout.prototypes_type = prototypes;
  if (swapped) std::swap(layout.predictions_name, layout.prototypes_name);
  return layout;
}

constexpr auto kHalf = alg::common::kAIFloat16;
constexpr auto kFloat = alg::common::kAIFloat32;

INSTANTIATE_TEST_SUITE_P(
    Tensors, DecoderLayout,
    testing::Values(LayoutCase{"ChannelMajor", FourSlots(false, kFloat, kFloat)},
                    LayoutCase{"AnchorMajor", FourSlots(true, kFloat, kFloat)},
                    LayoutCase{"HalfPrecision", FourSlots(false, kHalf, kHalf)},
                    LayoutCase{"HalfPrecisionAnchorMajor", FourSlots(true, kHalf, kHalf)},
                    LayoutCase{"HalfPredictionsOnly", FourSlots(false, kHalf, kFloat)},
                    LayoutCase{"HalfPrototypesOnly", FourSlots(false, kFloat, kHalf)},
                    LayoutCase{"SwappedNames", FourSlots(false, kFloat, kFloat, true)},
                    LayoutCase{"SwappedNamesAnchorMajor", FourSlots(true, kFloat, kFloat, true)}),
    test::CaseName());

TEST(DecoderHalfPrecision, ReadsTheBitsOfBinary16) {
  HeadLayout layout;
  layout.predictions_type = kHalf;
  const SegmentationOutputs outputs = Outputs(layout);
  BufferMap buffers = outputs.Buffers();
  buffers.at("output0").data_type = 77;  // the configuration's type counts
  const auto set = [&](int channel, std::uint16_t bits) {
    std::memcpy(buffers.at("output0").data->data() + 2 * channel * layout.anchors(), &bits, 2);
  };
  set(0, 0x5000);  // 32
  set(1, 0x4D20);  // 20.5
  set(2, 0x4C00);  // 16
  set(3, 0x4800);  // 8
  set(5, 0x3555);  // 0.333251953125
  set(6, 0x3C00);  // 1
  Yolov8Postprocess decoder(Root({{0, 0, 64, 64}}), outputs.Config(), {{64, 64}});
  Lists objects;
  ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
  ASSERT_THAT(objects, ElementsAre(SizeIs(1)));
  ExpectBox(objects[0][0], 24, 16.5F, 16, 8);
  EXPECT_EQ(objects[0][0].label, 1);
  EXPECT_EQ(objects[0][0].score, 0.333251953125F);
}

TEST(DecoderSlots, FewerPatchesThanSlotsGiveNoMoreListsThanPatches) {
  const Lists objects = Decode(OneBoxASlot(Batch(4)), {{0, 0, 64, 64}, {64, 0, 64, 64}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_EQ(objects[0][0].score, 0.5F);
  EXPECT_EQ(objects[1][0].score, 0.5625F);
}

TEST(DecoderSlots, EveryPatchHasItsOwnGeometry) {
  const Lists objects =
      Decode(OneBoxASlot(Batch(3)), {{0, 0, 64, 64}, {5, 6, 320, 280}, {9, 9, 128, 128}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1), SizeIs(1)));
  ExpectBox(objects[0][0], 28, 28, 8, 8);
  ExpectBox(objects[1][0], 140, 115, 40, 50);  // (27 - 4) * 5
  ExpectBox(objects[2][0], 56, 52, 16, 24);
}

TEST(DecoderSlots, APatchOverTheFarEdgeIsDecodedAtItsClippedSize) {
  SegmentationOutputs outputs = Outputs(Batch(2));
  for (const int slot : {0, 1}) outputs.Put(slot, 0, {32, 28, 16, 8, 0, 0.5F});
  const Lists objects = Decode(outputs, {{0, 0, 640, 640}, {1600, 800, 640, 640}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(640, 640));
  EXPECT_EQ(objects[1][0].mask.size(), cv::Size(320, 280));
  ExpectBox(objects[1][0], 120, 100, 80, 40);
}

TEST(DecoderSlots, APatchThatEndsAtTheFarEdgeIsNotClipped) {
  SegmentationOutputs outputs = Outputs(Batch(2));
  for (const int slot : {0, 1}) outputs.Put(slot, 0, {32, 28, 16, 8, 0, 0.5F});
  const Lists objects = Decode(outputs, {{1600, 800, 320, 280}, {1601, 801, 320, 280}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(320, 280));
  EXPECT_EQ(objects[1][0].mask.size(), cv::Size(319, 279));
}

TEST(DecoderSlots, APatchWhollyOutsideTakesNoSlot) {
  SegmentationOutputs outputs = Outputs(Batch(2));
  outputs.Put(0, 0, {32, 28, 16, 8, 0, 0.5F});
  outputs.Put(1, 0, {32, 28, 16, 8, 0, 0.75F});
  const Lists objects = Decode(outputs, {{1920, 0, 64, 64},
                                         {0, 0, 64, 64},
                                         {0, 1080, 64, 64},
                                         {4000, 4000, 64, 64},
                                         {5, 5, 0, 10},
                                         {5, 5, 10, -3},
                                         {1600, 800, 640, 640}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_EQ(objects[0][0].score, 0.5F);
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(64, 64));
  EXPECT_EQ(objects[1][0].score, 0.75F);
  EXPECT_EQ(objects[1][0].mask.size(), cv::Size(320, 280));
}

TEST(DecoderSlots, APatchOfOnePixelInsideTakesASlot) {
  const Lists objects = Decode(OneBoxASlot(Batch(2)), {{1919, 1079, 10, 10}, {5, 5, 1, 1}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(1, 1));
  EXPECT_EQ(objects[1][0].mask.size(), cv::Size(1, 1));
}

TEST(DecoderSlots, PatchesAllOutsideGiveNoListAtAll) {
  EXPECT_THAT(Decode(OneBoxASlot(Batch(2)), {{1920, 0, 64, 64}}), IsEmpty());
}

TEST(DecoderSlots, ANegativeOriginClipsNothing) {
  const Lists objects = Decode(OneBoxASlot(Batch(1)), {{-10, -20, 64, 64}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1)));
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(64, 64));
}

TEST(DecoderSlots, NumbersAtTheEndOfTheIntegersDoNotOverflow) {
  constexpr int kLast = std::numeric_limits<int>::max();
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 28, 16, 8, 0, 0.5F});
  const Lists objects = Decode(outputs, {{kLast, kLast, kLast, kLast}, {1600, 800, kLast, kLast}});
  ASSERT_THAT(objects, ElementsAre(SizeIs(1)));
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(320, 280));
}

void ExpectOneWholeFrameASlot(const YAML::Node& root) {
  const SegmentationOutputs outputs = OneBoxASlot(Batch(2));
  Yolov8Postprocess decoder(root, outputs.Config(), {});
  BufferMap buffers = outputs.Buffers();
  Lists objects;
  ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  // 1920 x 1080 becomes 64 x 36 with 14 rows above: one network pixel is thirty of the frame.
  ExpectBox(objects[0][0], 28 * 30, 14 * 30, 240, 240);
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(1920, 1080));
  EXPECT_EQ(FilledRectangle(objects[0][0].mask), cv::Rect(840, 420, 240, 240));
  ExpectBox(objects[1][0], 28 * 30, 13 * 30, 240, 300);
}

TEST(DecoderWithoutPatches, DecodesOneWholeFrameASlotWhenTheFileHasNoPatchKey) {
  ExpectOneWholeFrameASlot(YAML::Load("postprocess: {}"));
}

TEST(DecoderWithoutPatches, DecodesOneWholeFrameASlotForAnEmptyFile) {
  ExpectOneWholeFrameASlot(YAML::Node());
}

TEST(DecoderWithoutPatches, DecodesOneWholeFrameASlotForARootThatIsNoMapping) {
  ExpectOneWholeFrameASlot(YAML::Load("patch"));
  ExpectOneWholeFrameASlot(YAML::Load("[patch, 1]"));
}

TEST(DecoderWithoutPatches, DecodesOneWholeFrameASlotWhenPatchesAreDisabled) {
  ExpectOneWholeFrameASlot(YAML::Load("patch: {enable: false, patches: [[0, 0, 64, 64]]}"));
}

TEST(DecoderWithoutPatches, DecodesOneWholeFrameASlotWhenNothingSaysThatPatchesAreEnabled) {
  ExpectOneWholeFrameASlot(YAML::Load("patch: {patches: [[0, 0, 64, 64]]}"));
  ExpectOneWholeFrameASlot(YAML::Load("patch: {enable: maybe, patches: [[0, 0, 64, 64]]}"));
}

TEST(DecoderWithoutPatches, DecodesOneWholeFrameASlotWhenTheListIsMissing) {
  ExpectOneWholeFrameASlot(YAML::Load("patch: {enable: true}"));
}

TEST(DecoderWithoutPatches, DecodesOneWholeFrameASlotWhenTheListIsEmpty) {
  ExpectOneWholeFrameASlot(YAML::Load("patch: {enable: true, patches: []}"));
  ExpectOneWholeFrameASlot(YAML::Load("patch: {enable: true, patches: }"));
}

TEST(DecoderWithoutPatches, SizesAloneLieAtTheFramesOrigin) {
  SegmentationOutputs outputs = Outputs(Batch(2));
  for (const int slot : {0, 1}) outputs.Put(slot, 0, {32, 28, 16, 8, 0, 0.5F});
  Yolov8Postprocess decoder(YAML::Node(), outputs.Config(), {{320, 280}, {2500, 1500}});
  BufferMap buffers = outputs.Buffers();
  Lists objects;
  ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_EQ(objects[0][0].mask.size(), cv::Size(320, 280));
  EXPECT_EQ(objects[1][0].mask.size(), cv::Size(1920, 1080));
}

TEST(DecoderConstructor, IgnoresElementsAfterTheFourthOfAPatch) {
  const SegmentationOutputs outputs = OneBoxASlot(Batch(1));
  EXPECT_NO_THROW(
      Yolov8Postprocess(YAML::Load("patch: {enable: true, patches: [[0, 0, 64, 64, 7]]}"),
                        outputs.Config(), {{64, 64}}));
}

std::string Rejection(const YAML::Node& root, const std::vector<cv::Size>& sizes, int batch = 2) {
  const SegmentationOutputs outputs(Batch(batch));
  return RejectionOf([&] { Yolov8Postprocess(root, outputs.Config(), sizes); });
}

TEST(DecoderConstructor, RefusesMorePatchesThanSlots) {
  const std::vector<cv::Rect> patches(3, {0, 0, 64, 64});
  EXPECT_EQ(Rejection(Root(patches), Sizes(patches)),
            "3 patches reach into the frame; the network's batch has 2 slots");
}

TEST(DecoderConstructor, CountsOnlyPatchesThatReachIntoTheFrame) {
  const std::vector<cv::Rect> patches{
      {0, 0, 64, 64}, {1920, 0, 64, 64}, {64, 0, 64, 64}, {0, 1080, 64, 64}};
  const SegmentationOutputs outputs(Batch(2));
  EXPECT_NO_THROW(Yolov8Postprocess(Root(patches), outputs.Config(), Sizes(patches)));
}

TEST(DecoderConstructor, RefusesAnotherNumberOfSizesThanTheFileHas) {
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}, {64, 0, 64, 64}}), {{64, 64}}),
            "1 patch sizes given; the file has 2 patches");
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}}), {}), "0 patch sizes given; the file has 1 patches");
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}, {64, 0, 64, 64}}), {{65, 64}}),
            "1 patch sizes given; the file has 2 patches");
}

TEST(DecoderConstructor, RefusesSizesThatDisagreeWithTheFile) {
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}, {64, 0, 64, 48}}), {{64, 64}, {64, 47}}),
            "patch 1 is given as 64 x 47; the file has 64 x 48");
  EXPECT_EQ(Rejection(Root({{0, 0, 64, 64}}), {{65, 64}}),
            "patch 0 is given as 65 x 64; the file has 64 x 64");
}

TEST(DecoderConstructor, RefusesAPatchThatScalesToNothing) {
  EXPECT_EQ(Rejection(Root({{0, 0, 1920, 16}}), {{1920, 16}}),
            "a patch of 1920 x 16 scales to 64 x 0; expected at least 1 x 1");
}

TEST(DecoderConstructor, RefusesBadOptionsByTheirKey) {
  EXPECT_EQ(Rejection(YAML::Load("postprocess: {iou_threshold: 7}"), {}),
            "postprocess.iou_threshold in line 1 is '7'; expected a number from 0 to 1");
}

TEST(DecoderConstructor, RefusesANetworkWithoutASegmentationHead) {
  AIEngineConfig config = SegmentationOutputs(Batch(1)).Config();
  config.output_sizes.erase("output1");
  EXPECT_EQ(RejectionOf([&] { Yolov8Postprocess(YAML::Node(), config, {}); }),
            "no YOLOv8 segmentation network: no output has rank 4, the prototypes; found "
            "'output0' [1, 14, 84]");
}

TEST(DecoderConstructor, LooksAtTheOptionsThenAtTheNetworkThenAtThePatches) {
  AIEngineConfig config = SegmentationOutputs(Batch(1)).Config();
  config.output_sizes.clear();
  const auto rejection = [&config](const char* yaml) {
    return RejectionOf([&] { Yolov8Postprocess(YAML::Load(yaml), config, {}); });
  };
  EXPECT_THAT(rejection("{postprocess: 5, patch: 5}"), StartsWith("postprocess in line 1 is '5'"));
  EXPECT_THAT(rejection("patch: 5"), StartsWith("no YOLOv8 segmentation network: "));
}

TEST(DecoderConstructor, RefusesAMalformedPatchList) {
  for (const char* text :
       {"patch: 5", "patch: {enable: true, patches: [7]}", "patch: {enable: true, patches: {a: 1}}",
        "patch: {enable: true, patches: [[0, 0, 64]]}",
        "patch: {enable: true, patches: [[0, 0, wide, 64]]}"}) {
    const std::string rejection = Rejection(YAML::Load(text), {{64, 64}});
    EXPECT_THAT(rejection, StartsWith("patch list: ")) << text;
    EXPECT_THAT(rejection, EndsWith("; expected patch: {enable: true or false, patches: "
                                    "[[x, y, width, height], ...]}"))
        << text;
  }
}

TEST(DecoderConstructor, NamesThePlaceOfAWrongNumber) {
  EXPECT_THAT(Rejection(YAML::Load("patch:\n  enable: true\n  patches: [[0, 0, wide, 64]]"), {}),
              HasSubstr("line 3, column 20: bad conversion"));
}

// Made for each of them, their geometries would take 20 GB.
TEST(DecoderConstructor, RefusesAMillionPatchesAtOnce) {
  EXPECT_EQ(Rejection(YAML::Node(), std::vector<cv::Size>(1000000, {1920, 1080})),
            "1000000 patches reach into the frame; the network's batch has 2 slots");
}

// --- PostProcess: statuses

class DecoderStatus : public testing::Test {
 protected:
  DecoderStatus() {
    outputs_.Put(0, 0, {32, 32, 8, 8, 0, 0.5F});
    buffers_ = outputs_.Buffers();
  }

  // Decodes into lists that already hold something.
  int Run(std::vector<std::string>& lines) {
    objects_.assign(5, std::vector<Object>(2));
    int status = -1;
    lines = StandardErrorOf([&] { status = decoder_.PostProcess(buffers_, objects_); });
    return status;
  }

  void ExpectFailure(int expected, const std::string& line) {
    std::vector<std::string> lines;
    EXPECT_EQ(Run(lines), expected);
    EXPECT_THAT(lines, ElementsAre(line));
    EXPECT_THAT(objects_, IsEmpty());
  }

  SegmentationOutputs outputs_ = Outputs(Batch(2));
  Yolov8Postprocess decoder_{
      Root({{0, 0, 64, 64}, {0, 0, 64, 64}}), outputs_.Config(), {{64, 64}, {64, 64}}};
  BufferMap buffers_;
  Lists objects_;
};

TEST_F(DecoderStatus, OkReplacesWhatTheListsHeld) {
  std::vector<std::string> lines;
  EXPECT_EQ(Run(lines), kPostProcessOk);
  EXPECT_THAT(objects_, ElementsAre(SizeIs(1), IsEmpty()));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(DecoderStatus, MissingPredictions) {
  buffers_.erase("output0");
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output0' has no buffer to decode");
}

TEST_F(DecoderStatus, MissingPrototypes) {
  buffers_.erase("output1");
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output1' has no buffer to decode");
}

TEST_F(DecoderStatus, NoBufferAtAll) {
  buffers_.clear();
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output0' has no buffer to decode");
}

TEST_F(DecoderStatus, ABufferWithoutStorage) {
  buffers_.at("output0").data = nullptr;
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output0' has no buffer to decode");
  buffers_ = outputs_.Buffers();
  buffers_.at("output1").data = nullptr;
  ExpectFailure(kPostProcessMissingOutput,
                "libtessmar_ai_engine: output 'output1' has no buffer to decode");
}

TEST_F(DecoderStatus, PredictionsAreLookedAtWhollyBeforeThePrototypes) {
  buffers_.at("output0").data->resize(9407);
  buffers_.erase("output1");
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 9407 bytes to decode; expected 9408");
}

TEST_F(DecoderStatus, AStorageThatIsTooShortTooLongOrEmpty) {
  // 2 x 14 x 84 floats and 2 x 8 x 16 x 16 floats.
  buffers_.at("output0").data->resize(9407);
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 9407 bytes to decode; expected 9408");
  buffers_.at("output0").data->resize(9409);
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 9409 bytes to decode; expected 9408");
  buffers_.at("output0").data->clear();
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output0' has 0 bytes to decode; expected 9408");
  buffers_ = outputs_.Buffers();
  buffers_.at("output1").data->resize(16383);
  ExpectFailure(kPostProcessWrongSize,
                "libtessmar_ai_engine: output 'output1' has 16383 bytes to decode; expected 16384");
}

TEST_F(DecoderStatus, TheCallAfterAFailureDecodesAgain) {
  buffers_.at("output0").data = nullptr;
  std::vector<std::string> lines;
  EXPECT_EQ(Run(lines), kPostProcessMissingOutput);
  buffers_ = outputs_.Buffers();
  EXPECT_EQ(Run(lines), kPostProcessOk);
  EXPECT_THAT(objects_, ElementsAre(SizeIs(1), IsEmpty()));
}

TEST_F(DecoderStatus, BuffersAreOnlyReadAndOtherOnesIgnored) {
  buffers_["extra"].data->assign(3, 7);
  std::map<std::string, std::vector<std::uint8_t>> before;
  for (const auto& [name, buffer] : buffers_) before[name] = *buffer.data;
  std::vector<std::string> lines;
  EXPECT_EQ(Run(lines), kPostProcessOk);
  ASSERT_EQ(buffers_.size(), 3U);
  for (const auto& [name, buffer] : buffers_) EXPECT_EQ(*buffer.data, before.at(name)) << name;
}

TEST_F(DecoderStatus, SizesOfHalfPrecisionTensorsAreHalf) {
  HeadLayout layout;
  layout.predictions_type = kHalf;
  const SegmentationOutputs outputs(layout);
  Yolov8Postprocess decoder(YAML::Node(), outputs.Config(), {});
  BufferMap buffers = outputs.Buffers();
  buffers.at("output0").data->resize(4704);
  EXPECT_THAT(StandardErrorOf([&] {
                EXPECT_EQ(decoder.PostProcess(buffers, objects_), kPostProcessWrongSize);
              }),
              ElementsAre("libtessmar_ai_engine: output 'output0' has 4704 bytes to decode; "
                          "expected 2352"));
}

// --- Repeatability

TEST(DecoderRepeats, TheSameTensorsGiveTheSameListsAgainAndInAnotherDecoder) {
  SegmentationOutputs outputs = Overlapping();
  for (int k = 0; k < 8; ++k) {
    for (int i = 0; i < 256; ++i) {
      outputs.SetPrototype(0, k, i / 16, i % 16, static_cast<float>((i * 31 + k * 7) % 11 - 5));
    }
  }
  const std::vector<cv::Rect> patches{{0, 0, 333, 222}};
  const Lists expected = Decode(outputs, patches);
  ASSERT_THAT(expected, ElementsAre(SizeIs(3)));
  Yolov8Postprocess decoder(Root(patches), outputs.Config(), Sizes(patches));
  for (int round = 0; round < 4; ++round) {
    // Something else in between, so that what a frame leaves behind would show.
    SegmentationOutputs other = Outputs(Batch(1));
    for (int anchor = 0; anchor < 30; ++anchor) {
      other.Put(0, anchor, {2.0F * static_cast<float>(anchor), 30, 30, 30, 1, 0.9F, kNan});
      other.Put(0, anchor + 30, {2.0F * static_cast<float>(anchor), 30, 4, 30, 1, 0.9F});
    }
    Lists objects;
    BufferMap buffers = other.Buffers();
    ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
    ASSERT_EQ(objects.size(), 1U);
    ASSERT_GT(objects[0].size(), 10U);
    buffers = outputs.Buffers();
    ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
    ASSERT_EQ(objects.size(), 1U);
    ExpectSameObjects(objects[0], expected[0]);
  }
}

TEST(DecoderRepeats, MasksThatAreStillHeldOutliveLaterFrames) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  Yolov8Postprocess decoder(Root({{0, 0, 64, 64}}), outputs.Config(), {{64, 64}});
  std::vector<cv::Mat> held;
  for (int frame = 0; frame < 4; ++frame) {
    outputs.Put(0, 0, {20 + 8.0F * static_cast<float>(frame), 20, 8, 8, 0, 0.5F});
    BufferMap buffers = outputs.Buffers();
    Lists objects;
    ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
    held.push_back(objects.at(0).at(0).mask);
  }
  for (int frame = 0; frame < 4; ++frame) {
    EXPECT_EQ(FilledRectangle(held[static_cast<std::size_t>(frame)]),
              cv::Rect(16 + 8 * frame, 16, 8, 8))
        << "frame " << frame;
  }
}

TEST(DecoderRepeats, WholeListsThatAreStillHeldOutliveLaterFrames) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  Yolov8Postprocess decoder(Root({{0, 0, 64, 64}}), outputs.Config(), {{64, 64}});
  std::vector<Lists> held(4);
  for (std::size_t frame = 0; frame < held.size(); ++frame) {
    outputs.Put(0, 0, {20 + 8.0F * static_cast<float>(frame), 20, 8, 8, 0, 0.5F});
    BufferMap buffers = outputs.Buffers();
    ASSERT_EQ(decoder.PostProcess(buffers, held[frame]), kPostProcessOk);
  }
  for (std::size_t frame = 0; frame < held.size(); ++frame) {
    EXPECT_EQ(FilledRectangle(held[frame].at(0).at(0).mask),
              cv::Rect(16 + 8 * static_cast<int>(frame), 16, 8, 8))
        << "frame " << frame;
  }
}

TEST(DecoderRepeats, MasksThatNobodyHoldsLendTheirMemoryToTheNextFrame) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {20, 20, 8, 8, 0, 0.9F});
  outputs.Put(0, 1, {40, 20, 8, 8, 0, 0.8F});
  Yolov8Postprocess decoder(Root({{0, 0, 64, 64}}), outputs.Config(), {{64, 64}});
  BufferMap buffers = outputs.Buffers();
  std::set<const std::uint8_t*> memory;
  for (int frame = 0; frame < 20; ++frame) {
    Lists objects;
    ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
    for (const Object& object : objects.at(0)) memory.insert(object.mask.data);
  }
  EXPECT_THAT(memory, SizeIs(2));
}

TEST(DecoderRepeats, EverySlotKeepsItsOwnMasksForTheNextFrame) {
  const SegmentationOutputs outputs = OneBoxASlot(Batch(2));
  Yolov8Postprocess decoder(Root({{0, 0, 64, 64}, {0, 0, 32, 32}}), outputs.Config(),
                            {{64, 64}, {32, 32}});
  BufferMap buffers = outputs.Buffers();
  Lists objects;
  ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
  ASSERT_THAT(objects, ElementsAre(SizeIs(1), SizeIs(1)));
  EXPECT_FALSE(IsSoleOwner(objects[0][0].mask));
  EXPECT_FALSE(IsSoleOwner(objects[1][0].mask));
}

TEST(DecoderRepeats, FramesWithoutObjectsGiveTheMasksBack) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  Yolov8Postprocess decoder(Root({{0, 0, 64, 64}}), outputs.Config(), {{64, 64}});
  BufferMap empty = outputs.Buffers();
  outputs.Put(0, 0, {20, 20, 8, 8, 0, 0.9F});
  BufferMap buffers = outputs.Buffers();
  Lists objects;
  ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
  const cv::Mat mask = objects.at(0).at(0).mask;
  ASSERT_EQ(decoder.PostProcess(empty, objects), kPostProcessOk);
  EXPECT_FALSE(IsSoleOwner(mask));
  ASSERT_EQ(decoder.PostProcess(empty, objects), kPostProcessOk);
  EXPECT_TRUE(IsSoleOwner(mask));
}

TEST(DecoderRepeats, ResultsOutliveTheDecoder) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {20, 20, 8, 8, 0, 0.5F});
  const std::vector<Object> objects = DecodeOne(outputs);  // its decoder is gone by now
  ASSERT_THAT(objects, SizeIs(1));
  EXPECT_EQ(FilledRectangle(objects[0].mask), cv::Rect(16, 16, 8, 8));
}

// --- Numbers that no network should give

TEST(DecoderAdversity, PrototypesThatAreNotFiniteGiveNoMaskPixel) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (const char* options : {"{}", "{mask_threshold: 0}"}) {
      SegmentationOutputs outputs(Batch(1));
      outputs.FillPrototype(0, 0, bad);
      outputs.Put(0, 0, {32, 32, 8, 8, 0, 0.5F});
      const std::vector<Object> objects = DecodeOne(outputs, options);
      ASSERT_THAT(objects, SizeIs(1));
      EXPECT_EQ(cv::countNonZero(objects[0].mask), 0) << bad << " " << options;
    }
  }
}

TEST(DecoderAdversity, AnAnchorWithAnyBoxOrCoefficientThatIsNotFiniteIsDropped) {
  const HeadLayout layout = Batch(1);
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (int channel = 0; channel < layout.channels(); ++channel) {
      if (channel == 4 || channel == 5) continue;  // the scores
      SegmentationOutputs outputs = Outputs(layout);
      outputs.Put(0, 3, {20, 20, 8, 8, 0, 0.5F});
      outputs.Put(0, 4, {40, 40, 8, 8, 0, 0.5F});
      outputs.SetPrediction(0, channel, 3, bad);
      const std::vector<Object> objects = DecodeOne(outputs);
      ASSERT_THAT(objects, SizeIs(1)) << bad << " in channel " << channel;
      EXPECT_EQ(objects[0].x, 36.0F);
    }
  }
}

TEST(DecoderAdversity, AScoreThatIsNotFiniteIsNeverAResult) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    SegmentationOutputs outputs = Outputs(Batch(1));
    outputs.Put(0, 3, {20, 20, 8, 8, 0, bad});
    outputs.Put(0, 4, {40, 40, 8, 8, 1, bad});
    EXPECT_THAT(DecodeOne(outputs, "{score_threshold: 0}"), IsEmpty()) << bad;
  }
}

void ExpectSound(const Lists& lists, const std::vector<cv::Rect>& patches) {
  ASSERT_EQ(lists.size(), patches.size());
  for (std::size_t slot = 0; slot < lists.size(); ++slot) {
    EXPECT_LE(lists[slot].size(), 300U);
    // x + width of two rounded floats may exceed the side by one rounding.
    const float right = static_cast<float>(patches[slot].width) * 1.000001F;
    const float bottom = static_cast<float>(patches[slot].height) * 1.000001F;
    float last_score = kInfinity;
    for (const Object& object : lists[slot]) {
      EXPECT_TRUE(object.x >= 0 && object.width > 0 && object.x + object.width <= right);
      EXPECT_TRUE(object.y >= 0 && object.height > 0 && object.y + object.height <= bottom);
      EXPECT_TRUE(std::isfinite(object.score) && object.score > 0.25F);
      EXPECT_LE(object.score, last_score);
      EXPECT_TRUE(object.label == 0 || object.label == 1);
      ASSERT_EQ(object.mask.size(), patches[slot].size());
      EXPECT_EQ(cv::countNonZero(object.mask), cv::countNonZero(object.mask == 255));
      last_score = object.score;
    }
  }
}

const std::vector<cv::Rect> kSomePatches{{0, 0, 64, 64}, {10, 10, 37, 81}, {0, 0, 160, 90}};

TEST(DecoderAdversity, RandomBitsGiveSoundResultsOrNone) {
  for (const bool half : {false, true}) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      HeadLayout layout = Batch(3);
      layout.anchor_major = seed % 2 == 0;
      if (half) layout.predictions_type = layout.prototypes_type = kHalf;
      const SegmentationOutputs outputs(layout);
      BufferMap buffers = outputs.Buffers();
      std::mt19937 random(seed);
      for (auto& [name, buffer] : buffers) {
        for (std::uint8_t& byte : *buffer.data) byte = static_cast<std::uint8_t>(random());
      }
      Yolov8Postprocess decoder(Root(kSomePatches), outputs.Config(), Sizes(kSomePatches));
      Lists objects;
      ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
      ExpectSound(objects, kSomePatches);
    }
  }
}

TEST(DecoderAdversity, ExtremeNumbersInEveryPlaceGiveSoundResults) {
  const std::array<float, 14> numbers{0.0F,    -0.0F,  1.0F,      -1.0F,     32.0F,
                                      1e38F,   -1e38F, 3.4e38F,   -3.4e38F,  1e-45F,
                                      -1e-45F, kNan,   kInfinity, -kInfinity};
  std::size_t found = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const HeadLayout layout = Batch(3);
    SegmentationOutputs outputs(layout);
    std::mt19937 random(seed);
    const auto number = [&](float usual) {
      return random() % 3 == 0 ? numbers[random() % numbers.size()] : usual;
    };
    for (int slot = 0; slot < 3; ++slot) {
      for (int anchor = 0; anchor < layout.anchors(); ++anchor) {
        outputs.Put(slot, anchor,
                    {number(20), number(30), number(10), number(12), static_cast<int>(random() % 2),
                     number(0.5F), number(1)});
      }
      for (int i = 0; i < 256; ++i) outputs.SetPrototype(slot, 0, i / 16, i % 16, number(1));
    }
    const Lists objects = Decode(outputs, kSomePatches);
    ExpectSound(objects, kSomePatches);
    for (const auto& list : objects) found += list.size();
  }
  EXPECT_GT(found, 1000U);
}

TEST(DecoderAdversity, TwoIdenticalBoxesBeyondFloatsAreaAreOne) {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 0, {32, 32, 1e20F, 1e20F, 0, 0.9F});
  outputs.Put(0, 1, {32, 32, 1e20F, 1e20F, 0, 0.8F});
  EXPECT_THAT(DecodeOne(outputs), SizeIs(1));
}

}  // namespace
}  // namespace nuvik::model
