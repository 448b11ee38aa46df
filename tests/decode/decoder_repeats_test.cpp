// Yolov8Postprocess: one frame after another, and who holds the masks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <opencv2/core.hpp>
#include <set>
#include <vector>

#include "common/sole_owner.h"
#include "engine/yolov8_postprocess.h"
#include "support/decoding.h"
#include "support/segmentation_outputs.h"

namespace nuvik::model {
namespace {

using test::SegmentationOutputs;
using testing::ElementsAre;
using testing::SizeIs;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

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

}  // namespace
}  // namespace nuvik::model
