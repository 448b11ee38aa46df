// Outputs of a segmentation network with a chosen number of objects, as the decoder meets them:
// [slots, 4 + 24 classes + 32 coefficients, 8400 anchors] and [slots, 32, 160, 160].
#pragma once

#include <yaml-cpp/yaml.h>

#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "engine/ai_engine.h"
#include "engine/yolov8_postprocess.h"

namespace bench {

using nuvik::alg::common::AIBuff;
using Outputs = std::map<std::string, AIBuff>;

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

/// `count` patches spread evenly over a 1920 x 1080 frame; six are three columns in two rows.
std::vector<cv::Rect> PatchGrid(int count, const cv::Size& size = {kSide, kSide});

/// The configuration file of a detector with these patches. It keeps 1000 detections per patch.
YAML::Node ConfigurationFile(const std::vector<cv::Rect>& patches);

/// A decoder of `slots` patches of `PatchGrid`.
std::unique_ptr<nuvik::model::Yolov8Postprocess> MakeDecoder(int slots);

/// `objects` detections per slot, up to 1000, none suppressing another: on a grid, 24 to a place,
/// each of another class. Their anchors lie spread over the tensor; every other score is under 0.2.
/// Made once: every side of every benchmark reads the same memory.
Outputs& Scene(int slots, int objects);

/// First element of the slot in each of the two tensors.
const float* SlotPredictions(const Outputs& outputs, int slot);
const float* SlotPrototypes(const Outputs& outputs, int slot);

}  // namespace bench
