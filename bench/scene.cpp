#include "bench/scene.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "geometry/letterbox.h"

namespace bench {
namespace {

using nuvik::alg::common::AIEngineConfig;

constexpr const char* kPredictions = "output0";
constexpr const char* kPrototypes = "output1";
constexpr std::size_t kSlotPredictions = std::size_t{1} * kChannels * kAnchors;
constexpr std::size_t kLayer = std::size_t{1} * kProtoSide * kProtoSide;
constexpr std::size_t kSlotPrototypes = kCoefficients * kLayer;

float* Floats(const AIBuff& buffer) { return reinterpret_cast<float*>(buffer.data->data()); }

float* AddOutput(Outputs& outputs, const char* name, std::size_t floats) {
  AIBuff& buffer = outputs[name];
  buffer.data->resize(floats * sizeof(float));
  return Floats(buffer);
}

void AddObject(int i, cv::RNG& random, float* predictions) {
  const int anchor = static_cast<int>((std::int64_t{i} * 7919) % kAnchors);
  const auto set = [&](int channel, float value) {
    predictions[static_cast<std::size_t>(channel) * kAnchors + static_cast<std::size_t>(anchor)] =
        value;
  };
  const int place = i / kClasses;
  set(0, 90.0F + static_cast<float>(place % 8) * 65.0F);
  set(1, 75.0F + static_cast<float>(place / 8 % 6) * 95.0F);
  set(2, kObjectWidth);
  set(3, kObjectHeight);
  set(4 + i % kClasses, 0.5F + 0.0004F * static_cast<float>(i));
  for (int k = 0; k < kCoefficients; ++k) set(4 + kClasses + k, random.uniform(-1.0F, 1.0F));
}

// A smooth layer, as networks make them.
void FillLayer(cv::RNG& random, float* layer) {
  cv::Mat coarse(10, 10, CV_32F);
  random.fill(coarse, cv::RNG::UNIFORM, -1.0, 1.0);
  cv::Mat fine(kProtoSide, kProtoSide, CV_32F, layer);
  cv::resize(coarse, fine, fine.size(), 0, 0, cv::INTER_CUBIC);
}

Outputs MakeScene(int slots, int objects) {
  Outputs outputs;
  const auto count = static_cast<std::size_t>(slots);
  float* predictions = AddOutput(outputs, kPredictions, count * kSlotPredictions);
  float* prototypes = AddOutput(outputs, kPrototypes, count * kSlotPrototypes);
  cv::RNG random(7);
  for (std::size_t slot = 0; slot < count; ++slot, predictions += kSlotPredictions) {
    for (std::size_t i = 0; i < kSlotPredictions; ++i) predictions[i] = random.uniform(0.0F, 0.2F);
    for (int i = 0; i < objects; ++i) AddObject(i, random, predictions);
    for (int k = 0; k < kCoefficients; ++k, prototypes += kLayer) FillLayer(random, prototypes);
  }
  return outputs;
}

AIEngineConfig SceneConfig(int slots) {
  AIEngineConfig config;
  config.input_shapes["images"] = {slots, 3, kSide, kSide};
  config.output_shapes[kPredictions] = {slots, kChannels, kAnchors};
  config.output_shapes[kPrototypes] = {slots, kCoefficients, kProtoSide, kProtoSide};
  for (const char* name : {kPredictions, kPrototypes}) {
    config.output_types[name] = nuvik::alg::common::kAIFloat32;
    config.output_sizes[name] = 0;
  }
  return config;
}

}  // namespace

std::vector<cv::Rect> PatchGrid(int count, const cv::Size& size) {
  const int columns = static_cast<int>(std::ceil(std::sqrt(count)));
  const int rows = (count + columns - 1) / columns;
  const auto place = [](int i, int places, int room) {
    return places == 1 ? 0 : i * room / (places - 1);
  };
  std::vector<cv::Rect> patches;
  for (int i = 0; i < count; ++i) {
    const cv::Point origin(place(i % columns, columns, nuvik::geometry::kFrameWidth - size.width),
                           place(i / columns, rows, nuvik::geometry::kFrameHeight - size.height));
    patches.emplace_back(origin, size);
  }
  return patches;
}

YAML::Node ConfigurationFile(const std::vector<cv::Rect>& patches) {
  YAML::Node root;
  root["patch"]["enable"] = true;
  for (const cv::Rect& patch : patches) {
    root["patch"]["patches"].push_back(
        std::vector<int>{patch.x, patch.y, patch.width, patch.height});
  }
  root["postprocess"]["max_detections"] = 1000;
  return root;
}

std::unique_ptr<nuvik::model::Yolov8Postprocess> MakeDecoder(int slots) {
  std::vector<cv::Size> sizes;
  const std::vector<cv::Rect> patches = PatchGrid(slots);
  for (const cv::Rect& patch : patches) sizes.push_back(patch.size());
  return std::make_unique<nuvik::model::Yolov8Postprocess>(ConfigurationFile(patches),
                                                           SceneConfig(slots), sizes);
}

Outputs& Scene(int slots, int objects) {
  static std::map<std::pair<int, int>, Outputs> scenes;
  const auto [scene, is_new] = scenes.try_emplace({slots, objects});
  if (is_new) scene->second = MakeScene(slots, objects);
  return scene->second;
}

const float* SlotPredictions(const Outputs& outputs, int slot) {
  return Floats(outputs.at(kPredictions)) + static_cast<std::size_t>(slot) * kSlotPredictions;
}

const float* SlotPrototypes(const Outputs& outputs, int slot) {
  return Floats(outputs.at(kPrototypes)) + static_cast<std::size_t>(slot) * kSlotPrototypes;
}

}  // namespace bench
