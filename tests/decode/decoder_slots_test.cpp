// Yolov8Postprocess: layouts of the tensors, and which patch takes which slot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <opencv2/core.hpp>
#include <ostream>
#include <utility>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/case_name.h"
#include "support/decoding.h"
#include "support/segmentation_outputs.h"

namespace nuvik::model {
namespace {

using test::HeadLayout;
using test::SegmentationOutputs;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

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

}  // namespace
}  // namespace nuvik::model
