// A frame that goes all the way on the scripted engine: two patches, three objects of two labels,
// one of them a candidate that the classifier confirms.
#pragma once

#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "scripted_engine.h"

namespace faults {

using nuvik::alg::common::AIEngineConfig;
using nuvik::model::Object;
using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;
using nuvik::perception::dirty_seg_detector::DirtyStatusResultData;
using nuvik::perception::dirty_seg_detector::ImageMap;

inline AIEngineConfig Network(const std::string& input, std::int64_t batch, std::int64_t side,
                              const std::string& output) {
  AIEngineConfig config;
  config.model_path = input + ".model";
  config.input_sizes = {{input, static_cast<std::int32_t>(batch * 3 * side * side * 4)}};
  config.input_shapes = {{input, {batch, 3, side, side}}};
  config.output_sizes = {{output, 8}};
  config.output_shapes = {{output, {1, 2}}};
  config.output_types = {{output, 2}};
  return config;
}

/// `yaml` is the path of a file with two patches.
inline DirtySegDetectorConfig ScriptedConfig(const std::string& yaml) {
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = Network("images", 2, 64, "output0");
  config.fece_model_config = Network("input", 1, 224, "output");
  config.fece_enable = true;
  config.fece_class_ids = {3};
  config.fece_score_threshold = 0.5F;
  config.yaml_config_path = yaml;
  return config;
}

inline constexpr const char* kTwoPatches =
    "patch:\n  enable: true\n  patches: [[0, 0, 640, 640], [640, 440, 640, 640]]\n";

/// The classifier confirms; objects as above. Holds until the script is reset.
inline void ScriptFrame() {
  scripted_engine::Script& script = scripted_engine::GetScript();
  const cv::Mat mask(640, 640, CV_8UC1, cv::Scalar(255));
  script.objects = {
      {{10.0F, 20.0F, 30.0F, 40.0F, 1, 0.9F, mask}, {100.0F, 100.0F, 50.0F, 50.0F, 3, 0.8F, mask}},
      {{0.0F, 0.0F, 640.0F, 640.0F, 1, 0.7F, mask}}};
  script.on_inference = [](const std::string&, auto&, auto& outputs) {
    const auto output = outputs.find("output");
    if (output == outputs.end()) return;
    const float logits[2] = {0.0F, 3.0F};
    std::memcpy(output->second.data->data(), logits, sizeof(logits));
  };
}

inline ImageMap Frame() {
  return {{"color", std::make_shared<cv::Mat>(1080, 1920, CV_8UC3, cv::Scalar(10, 20, 30))}};
}

/// Whether `result` is that of the frame.
inline bool IsWhole(const DirtyStatusResultData& result) {
  return result.success && result.bboxes.size() == 3 && result.scores.size() == 3 &&
         result.labels == std::vector<int>{1, 19, 1} && result.mask_pixel_counts.size() == 3 &&
         result.label_masks.size() == 2 &&
         cv::countNonZero(result.label_masks.at(1)) == 2 * 640 * 640 &&
         cv::countNonZero(result.label_masks.at(19)) == 640 * 640;
}

}  // namespace faults
