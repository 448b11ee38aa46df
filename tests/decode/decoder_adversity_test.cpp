// Yolov8Postprocess: numbers that no network should give.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <opencv2/core.hpp>
#include <random>
#include <string>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/decoding.h"
#include "support/segmentation_outputs.h"

namespace nuvik::model {
namespace {

using test::HeadLayout;
using test::SegmentationOutputs;
using testing::IsEmpty;
using testing::SizeIs;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr auto kHalf = alg::common::kAIFloat16;

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
