// The decoder's lists and masks, to the bit.
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "digest.h"
#include "engine/yolov8_postprocess.h"
#include "support/segmentation_outputs.h"

namespace nuvik::test {
namespace {

using alg::common::AIBuff;
using alg::common::AIDataType;
using model::Object;
using model::Yolov8Postprocess;

using ObjectLists = std::vector<std::vector<Object>>;

constexpr const char* kPatches = R"(
patch:
  enable: true
  patches: [[0, 0, 333, 217], [1500, 900, 640, 640], [50, 60, 97, 301]]
postprocess:
  score_threshold: 0.3
)";
const std::vector<cv::Size> kPatchSizes{{333, 217}, {640, 640}, {97, 301}};

HeadLayout LayoutOf(AIDataType type) {
  HeadLayout layout;
  layout.batch = 3;
  layout.input_side = 160;
  layout.predictions_type = type;
  layout.prototypes_type = type;
  return layout;
}

// Every second coefficient repeats the one before it, and in two rows of cells out of four its
// prototype is that one's negative: there a logit is 0 to the last bit, and no mask, as long as
// every product is rounded before it is added. Fused or added in another order it is as often above
// 0 as below.
bool RepeatsTheOneBefore(int coefficient) { return coefficient % 2 == 1; }
bool Cancels(int row) { return row % 4 >= 2; }

// Boxes all over the square, many of them one over the other; one in eight has a score to keep.
void FillPredictions(Noise& noise, int slot, SegmentationOutputs& outputs) {
  const HeadLayout& layout = outputs.layout();
  const auto side = static_cast<float>(layout.input_side);
  for (int anchor = 0; anchor < layout.anchors(); ++anchor) {
    for (int channel = 0; channel < 2; ++channel) {
      outputs.SetPrediction(slot, channel, anchor, noise.Unit() * side);
      outputs.SetPrediction(slot, 2 + channel, anchor, noise.Unit() * side * 0.5F);
    }
    const float score = noise.Unit() * (noise.Below(8) == 0 ? 1.0F : 0.25F);
    outputs.SetPrediction(slot, 4 + noise.Below(layout.classes), anchor, score);
    for (int k = 0; k < layout.coefficients; ++k) {
      const int channel = 4 + layout.classes + k;
      const float coefficient = RepeatsTheOneBefore(k)
                                    ? outputs.Prediction(slot, channel - 1, anchor)
                                    : noise.Unit() - 0.5F;
      outputs.SetPrediction(slot, channel, anchor, coefficient);
    }
  }
}

void FillPrototypes(Noise& noise, int slot, SegmentationOutputs& outputs) {
  const HeadLayout& layout = outputs.layout();
  for (int k = 0; k < layout.coefficients; ++k) {
    for (int row = 0; row < layout.proto_side(); ++row) {
      for (int column = 0; column < layout.proto_side(); ++column) {
        const float value = RepeatsTheOneBefore(k) && Cancels(row)
                                ? -outputs.Prototype(slot, k - 1, row, column)
                                : noise.Unit() * 8.0F - 4.0F;
        outputs.SetPrototype(slot, k, row, column, value);
      }
    }
  }
}

ObjectLists Decode(AIDataType type, const std::string& options) {
  SegmentationOutputs outputs(LayoutOf(type));
  Noise noise;
  for (int slot = 0; slot < outputs.layout().batch; ++slot) {
    FillPredictions(noise, slot, outputs);
    FillPrototypes(noise, slot, outputs);
  }
  Yolov8Postprocess decoder(YAML::Load(kPatches + options), outputs.Config(), kPatchSizes);
  std::map<std::string, AIBuff> buffers = outputs.Buffers();
  ObjectLists lists;
  EXPECT_EQ(decoder.PostProcess(buffers, lists), model::kPostProcessOk);
  return lists;
}

Hex DigestOf(const ObjectLists& lists) {
  Digest digest;
  for (const std::vector<Object>& list : lists) {
    digest.AddNumber(list.size());
    for (const Object& object : list) {
      for (const float number : {object.x, object.y, object.width, object.height, object.score}) {
        digest.AddNumber(number);
      }
      digest.AddNumber(object.label);
      digest.Add(object.mask.data, object.mask.total());
    }
  }
  return {digest.value()};
}

// So that the digests are those of something.
void ExpectManyObjects(const ObjectLists& lists) {
  ASSERT_EQ(lists.size(), kPatchSizes.size());
  for (const std::vector<Object>& list : lists) EXPECT_GT(list.size(), 20U);
}

TEST(SameBits, DecodedFloats) {
  const ObjectLists lists = Decode(alg::common::kAIFloat32, "");
  ExpectManyObjects(lists);
  EXPECT_EQ(DigestOf(lists), Hex{0xc8877d32a6dd5780U});
}

TEST(SameBits, DecodedHalfFloats) {
  const ObjectLists lists = Decode(alg::common::kAIFloat16, "");
  ExpectManyObjects(lists);
  EXPECT_EQ(DigestOf(lists), Hex{0xb901067e9f56eb3eU});
}

TEST(SameBits, DecodedWithOtherThresholds) {
  const ObjectLists lists = Decode(alg::common::kAIFloat32,
                                   "  iou_threshold: 0.45\n"
                                   "  class_agnostic: true\n"
                                   "  mask_threshold: 0.37\n");
  ExpectManyObjects(lists);
  EXPECT_EQ(DigestOf(lists), Hex{0x99bce1755fa16fe0U});
}

}  // namespace
}  // namespace nuvik::test
