// Outputs of a segmentation network with a chosen number of objects, as the decoder meets them:
// six slots of [24 classes + 32 coefficients, 8400 anchors] and [32, 160, 160].
#pragma once

#include <yaml-cpp/yaml.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "engine/ai_engine.h"

namespace bench {

using nuvik::alg::common::AIBuff;
using nuvik::alg::common::AIEngineConfig;

constexpr int kSlots = 6;
constexpr int kSide = 640;
constexpr int kClasses = 24;
constexpr int kCoefficients = 32;
constexpr int kChannels = 4 + kClasses + kCoefficients;
constexpr int kAnchors = 8400;
constexpr int kProtoSide = 160;
// A twentieth of the patch.
constexpr int kObjectWidth = 160;
constexpr int kObjectHeight = 128;

inline AIEngineConfig SceneConfig() {
  AIEngineConfig config;
  config.input_shapes["images"] = {kSlots, 3, kSide, kSide};
  config.output_shapes["output0"] = {kSlots, kChannels, kAnchors};
  config.output_shapes["output1"] = {kSlots, kCoefficients, kProtoSide, kProtoSide};
  for (const char* name : {"output0", "output1"}) {
    config.output_types[name] = nuvik::alg::common::kAIFloat32;
    config.output_sizes[name] = 0;
  }
  return config;
}

inline YAML::Node SceneRoot() {
  return YAML::Load(
      "patch: {enable: true, patches: [[0, 0, 640, 640], [640, 0, 640, 640], [1280, 0, 640, 640], "
      "[0, 440, 640, 640], [640, 440, 640, 640], [1280, 440, 640, 640]]}\n"
      "postprocess: {max_detections: 1000}");
}

inline std::vector<cv::Size> SceneSizes() { return std::vector<cv::Size>(kSlots, {640, 640}); }

/// `objects` detections a slot, none suppressing another: on a grid, 24 to a place, each of
/// another class. Their anchors lie spread over the tensor; every other score is under 0.2.
inline std::map<std::string, AIBuff> MakeScene(int objects) {
  std::vector<float> predictions(std::size_t{1} * kSlots * kChannels * kAnchors);
  std::vector<float> prototypes(std::size_t{1} * kSlots * kCoefficients * kProtoSide * kProtoSide);
  cv::RNG random(7);
  for (float& value : predictions) value = random.uniform(0.0F, 0.2F);
  // Smooth layers, as networks make them.
  for (int layer = 0; layer < kSlots * kCoefficients; ++layer) {
    cv::Mat coarse(10, 10, CV_32F);
    random.fill(coarse, cv::RNG::UNIFORM, -1.0, 1.0);
    cv::Mat fine(kProtoSide, kProtoSide, CV_32F,
                 prototypes.data() + std::size_t{1} * layer * kProtoSide * kProtoSide);
    cv::resize(coarse, fine, fine.size(), 0, 0, cv::INTER_CUBIC);
  }
  for (int slot = 0; slot < kSlots; ++slot) {
    float* first = predictions.data() + std::size_t{1} * slot * kChannels * kAnchors;
    const auto at = [&](int channel, int anchor) -> float& {
      return first[std::size_t{1} * channel * kAnchors + anchor];
    };
    for (int i = 0; i < objects; ++i) {
      const int anchor = static_cast<int>((std::int64_t{i} * 7919) % kAnchors);
      const int place = i / kClasses;
      at(0, anchor) = 90.0F + static_cast<float>(place % 8) * 65.0F;
      at(1, anchor) = 75.0F + static_cast<float>(place / 8 % 6) * 95.0F;
      at(2, anchor) = kObjectWidth;
      at(3, anchor) = kObjectHeight;
      at(4 + i % kClasses, anchor) = 0.5F + 0.0004F * static_cast<float>(i);
      for (int k = 0; k < kCoefficients; ++k) {
        at(4 + kClasses + k, anchor) = random.uniform(-1.0F, 1.0F);
      }
    }
  }
  std::map<std::string, AIBuff> outputs;
  const auto store = [&outputs](const char* name, const std::vector<float>& values) {
    outputs[name].data->resize(values.size() * sizeof(float));
    std::memcpy(outputs[name].data->data(), values.data(), values.size() * sizeof(float));
  };
  store("output0", predictions);
  store("output1", prototypes);
  return outputs;
}

}  // namespace bench
