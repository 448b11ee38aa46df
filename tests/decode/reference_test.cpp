// The decoder against an independent slow one in double precision, over random tensors.
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <opencv2/core.hpp>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/case_name.h"
#include "support/reference_decoder.h"
#include "support/segmentation_outputs.h"

namespace nuvik::model {
namespace {

using test::HeadLayout;
using test::ReferenceObject;
using test::ReferenceOptions;
using test::ReferenceResult;
using test::SegmentationOutputs;

struct Scene {
  const char* name;
  HeadLayout layout;
  /// All inside the frame.
  std::vector<cv::Rect> patches;
  ReferenceOptions options;
  /// Scores on a coarse grid, so that many are equal.
  bool coarse_scores = false;
  /// One number in fifty of the predictions is not finite.
  bool not_finite = false;
};

void PrintTo(const Scene& scene, std::ostream* out) { *out << scene.name; }

// Detections in clusters around a few centres, some outside the square; all else noise.
class RandomScene {
 public:
  RandomScene(const Scene& scene, unsigned seed)
      : scene_(scene), random_(seed), outputs_(scene.layout) {
    for (int slot = 0; slot < scene.layout.batch; ++slot) {
      Place(slot);
      FillPrototypes(slot);
    }
  }

  const SegmentationOutputs& outputs() const { return outputs_; }

 private:
  float Uniform(float low, float high) {
    return low + (high - low) * static_cast<float>(random_() % 1000003U) / 1000003.0F;
  }

  float Normal() { return Uniform(-1, 1) + Uniform(-1, 1) + Uniform(-1, 1); }

  void Place(int slot) {
    const HeadLayout& layout = scene_.layout;
    const auto side = static_cast<float>(layout.input_side);
    std::vector<cv::Point2f> centres;
    for (int i = 0; i < 6; ++i) {
      centres.emplace_back(Uniform(-0.1F * side, 1.1F * side), Uniform(-0.1F * side, 1.1F * side));
    }
    for (int anchor = 0; anchor < layout.anchors(); ++anchor) {
      const cv::Point2f centre = centres[random_() % centres.size()];
      const float size = side * Uniform(0.02F, 0.5F);
      Set(slot, 0, anchor, centre.x + 0.1F * size * Normal());
      Set(slot, 1, anchor, centre.y + 0.1F * size * Normal());
      Set(slot, 2, anchor, random_() % 40 == 0 ? 0.0F : size * Uniform(0.5F, 1.0F));
      Set(slot, 3, anchor, size * Uniform(0.5F, 1.0F));
      for (int c = 0; c < layout.classes; ++c) Set(slot, 4 + c, anchor, Score());
      for (int k = 0; k < layout.coefficients; ++k) {
        Set(slot, 4 + layout.classes + k, anchor, Normal());
      }
    }
  }

  float Score() {
    const bool is_low = random_() % 4 != 0;
    const float score = Uniform(0.0F, is_low ? 0.3F : 1.0F);
    return scene_.coarse_scores ? std::floor(score * 8) / 8 : score;
  }

  void Set(int slot, int channel, int anchor, float value) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (scene_.not_finite && random_() % 50 == 0) {
      const float bad[] = {kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN()};
      value = bad[random_() % 3];
    }
    outputs_.SetPrediction(slot, channel, anchor, value);
  }

  void FillPrototypes(int slot) {
    const HeadLayout& layout = scene_.layout;
    for (int k = 0; k < layout.coefficients; ++k) {
      for (int row = 0; row < layout.proto_side(); ++row) {
        for (int column = 0; column < layout.proto_side(); ++column) {
          outputs_.SetPrototype(slot, k, row, column, Normal());
        }
      }
    }
  }

  const Scene& scene_;
  std::mt19937 random_;
  SegmentationOutputs outputs_;
};

std::string Yaml(const Scene& scene) {
  std::ostringstream text;
  text.precision(9);
  text << "patch:\n  enable: " << (scene.patches.empty() ? "false" : "true") << "\n  patches: [";
  for (const cv::Rect& patch : scene.patches) {
    text << "[" << patch.x << ", " << patch.y << ", " << patch.width << ", " << patch.height
         << "], ";
  }
  const ReferenceOptions& options = scene.options;
  text << "]\npostprocess:\n  score_threshold: " << options.score_threshold
       << "\n  iou_threshold: " << options.iou_threshold
       << "\n  max_detections: " << options.max_detections
       << "\n  class_agnostic: " << (options.class_agnostic ? "true" : "false")
       << "\n  mask_threshold: " << options.mask_threshold << "\n";
  return text.str();
}

struct Tally {
  std::size_t objects = 0;
  std::size_t box_pixels = 0;
  std::size_t mask_pixels = 0;
  std::size_t near_threshold = 0;
  std::size_t near_edge = 0;
};

void ExpectSameMask(const cv::Mat& mask, const cv::Mat& expected, Tally& tally) {
  ASSERT_EQ(mask.size(), expected.size());
  ASSERT_EQ(mask.type(), CV_8UC1);
  int different = 0;
  for (int y = 0; y < mask.rows; ++y) {
    for (int x = 0; x < mask.cols; ++x) {
      const int value = mask.at<std::uint8_t>(y, x);
      const int wanted = expected.at<std::uint8_t>(y, x);
      if (wanted == test::kNearThreshold || wanted == test::kNearEdge) {
        ++(wanted == test::kNearThreshold ? tally.near_threshold : tally.near_edge);
        different += value != 0 && value != 255;
      } else {
        different += value != wanted;
      }
      tally.mask_pixels += value == 255;
    }
  }
  EXPECT_EQ(different, 0) << "pixels";
}

void ExpectSameObject(const Object& object, const ReferenceObject& expected, Tally& tally) {
  EXPECT_EQ(object.label, expected.label);
  EXPECT_EQ(object.score, expected.score);
  EXPECT_NEAR(object.x, expected.x1, 0.01);
  EXPECT_NEAR(object.y, expected.y1, 0.01);
  EXPECT_NEAR(object.x + object.width, expected.x2, 0.01);
  EXPECT_NEAR(object.y + object.height, expected.y2, 0.01);
  ExpectSameMask(object.mask, expected.mask, tally);
  ++tally.objects;
  tally.box_pixels += static_cast<std::size_t>(std::ceil(object.width) * std::ceil(object.height));
}

// False when the reference itself stands on an edge: some overlap or some box is so near its limit
// that single precision may rightly decide the other way.
bool IsClear(const ReferenceResult& result) {
  // Areas of coordinates below 1024 are off by some 2^-20 of themselves.
  return result.nearest_overlap > 1e-5 && result.nearest_inside > 1e-3;
}

class ParityWithReference : public testing::TestWithParam<Scene> {};

TEST_P(ParityWithReference, SameLabelsOrderScoresBoxesAndMasks) {
  const Scene& scene = GetParam();
  std::vector<cv::Size> sizes;
  for (const cv::Rect& patch : scene.patches) sizes.push_back(patch.size());
  const std::size_t slots =
      sizes.empty() ? static_cast<std::size_t>(scene.layout.batch) : sizes.size();
  Tally tally;
  int scenes = 0;
  for (unsigned seed = 1; scenes < 3; ++seed) {
    ASSERT_LT(seed, 40U) << "no clear scene";
    SCOPED_TRACE("seed " + std::to_string(seed));
    const RandomScene random(scene, seed);
    std::vector<ReferenceResult> expected;
    bool is_clear = true;
    for (std::size_t slot = 0; slot < slots && is_clear; ++slot) {
      const cv::Size size = sizes.empty() ? cv::Size(1920, 1080) : sizes[slot];
      expected.push_back(
          DecodeSlowly(random.outputs(), static_cast<int>(slot), size, scene.options));
      is_clear = IsClear(expected.back());
    }
    if (!is_clear) continue;
    ++scenes;
    Yolov8Postprocess decoder(YAML::Load(Yaml(scene)), random.outputs().Config(), sizes);
    auto buffers = random.outputs().Buffers();
    std::vector<std::vector<Object>> objects;
    ASSERT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
    ASSERT_EQ(objects.size(), slots);
    for (std::size_t slot = 0; slot < slots; ++slot) {
      ASSERT_EQ(objects[slot].size(), expected[slot].objects.size()) << "slot " << slot;
      for (std::size_t i = 0; i < objects[slot].size(); ++i) {
        SCOPED_TRACE("slot " + std::to_string(slot) + ", object " + std::to_string(i));
        ExpectSameObject(objects[slot][i], expected[slot].objects[i], tally);
      }
    }
  }
  std::cout << "  " << tally.objects << " objects, " << tally.box_pixels << " pixels in boxes, "
            << tally.mask_pixels << " in masks; too near to call: " << tally.near_threshold
            << " by their logit, " << tally.near_edge << " at box edges\n";
  EXPECT_GT(tally.objects, 20U);
  EXPECT_GT(tally.mask_pixels, tally.box_pixels / 10);
  EXPECT_LT(tally.mask_pixels, tally.box_pixels * 9 / 10);
  // Logits spread over some ten units and rounding moves them by some 1e-5; of the box edges, one
  // in five hundred lies within a thousandth of a pixel of a whole number, with its row of pixels.
  EXPECT_LT(tally.near_threshold, tally.box_pixels / 10000 + 4);
  EXPECT_LT(tally.near_edge, tally.box_pixels / 500 + 4);
}

HeadLayout Layout(int batch, int side, int classes, int coefficients, bool anchor_major = false) {
  HeadLayout layout;
  layout.batch = batch;
  layout.input_side = side;
  layout.classes = classes;
  layout.coefficients = coefficients;
  layout.anchor_major = anchor_major;
  return layout;
}

HeadLayout Half(HeadLayout layout) {
  layout.predictions_type = alg::common::kAIFloat16;
  layout.prototypes_type = alg::common::kAIFloat16;
  return layout;
}

HeadLayout Swapped(HeadLayout layout) {
  std::swap(layout.predictions_name, layout.prototypes_name);
  return layout;
}

ReferenceOptions Options(float score, float iou, std::size_t most, bool agnostic, double mask) {
  return {score, iou, most, agnostic, mask};
}

const std::vector<cv::Rect> kThreePatches{{0, 0, 64, 64}, {100, 50, 37, 81}, {640, 300, 160, 90}};

INSTANTIATE_TEST_SUITE_P(
    Random, ParityWithReference,
    testing::Values(
        Scene{"SmallIdentity", Layout(1, 64, 2, 8), {{0, 0, 64, 64}}, {}},
        Scene{"ThreePatches", Layout(3, 64, 3, 16), kThreePatches, {}},
        Scene{"Transposed", Layout(3, 96, 3, 16, true), kThreePatches, {}},
        Scene{"SwappedNames", Swapped(Layout(3, 64, 3, 16)), kThreePatches, {}},
        Scene{"HalfPrecision", Half(Layout(3, 64, 3, 32)), kThreePatches, {}},
        Scene{"HalfPrecisionTransposed", Half(Layout(3, 64, 3, 32, true)), kThreePatches, {}},
        Scene{"OneClass", Layout(2, 128, 1, 32), {{0, 0, 100, 77}, {7, 9, 333, 111}}, {}},
        Scene{"EightyClasses", Layout(1, 160, 80, 32), {{0, 0, 200, 150}}, {}},
        Scene{"EightyClassesTransposed", Layout(1, 160, 80, 32, true), {{0, 0, 200, 150}}, {}},
        Scene{"OneCoefficient", Layout(1, 96, 4, 1), {{0, 0, 96, 90}}, {}},
        Scene{"WholeFrames", Layout(2, 64, 2, 8), {}, Options(0.25F, 0.5F, 12, false, 0.5)},
        Scene{"OneShortOfTheSquare",
              Layout(1, 640, 2, 8),
              {{0, 0, 1101, 1001}},
              Options(0.5F, 0.3F, 12, false, 0.5)},
        Scene{"FullSize",
              Layout(1, 640, 20, 32),
              {{0, 0, 640, 640}},
              Options(0.25F, 0.45F, 30, false, 0.5)},
        Scene{"ClassAgnostic",
              Layout(1, 128, 5, 8),
              {{0, 0, 128, 128}},
              Options(0.25F, 0.5F, 300, true, 0.5)},
        Scene{"FewOverlapsAllowed",
              Layout(1, 128, 2, 8),
              {{0, 0, 128, 128}},
              Options(0.1F, 0.1F, 300, false, 0.5)},
        Scene{"ManyOverlapsAllowed",
              Layout(1, 128, 2, 8),
              {{0, 0, 96, 128}},
              Options(0.6F, 0.95F, 300, false, 0.5)},
        Scene{"LowMaskThreshold",
              Layout(1, 96, 2, 16),
              {{0, 0, 96, 96}},
              Options(0.25F, 0.7F, 300, false, 0.0625)},
        Scene{"HighMaskThreshold",
              Layout(1, 96, 2, 16),
              {{0, 0, 96, 96}},
              Options(0.25F, 0.7F, 300, false, 0.875)},
        Scene{"LimitReached",
              Layout(1, 128, 3, 8),
              {{0, 0, 128, 128}},
              Options(0.25F, 0.7F, 10, false, 0.5)},
        Scene{"TiedScores",
              Layout(1, 128, 3, 8),
              {{0, 0, 128, 120}},
              Options(0.25F, 0.6F, 40, false, 0.5),
              true},
        Scene{"NotFinitePredictions",
              Layout(2, 96, 3, 8),
              {{0, 0, 96, 96}, {0, 0, 50, 99}},
              {},
              false,
              true}),
    test::CaseName());

}  // namespace
}  // namespace nuvik::model
