// Decoding tensors that are written number by number, and looking at what comes out.
#pragma once

#include <yaml-cpp/yaml.h>

#include <map>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/segmentation_outputs.h"

namespace nuvik::model {

using Lists = std::vector<std::vector<Object>>;
using BufferMap = std::map<std::string, alg::common::AIBuff>;

test::HeadLayout Batch(int batch);

/// Tensors whose first prototype is 4 everywhere: a coefficient of 1 fills the box.
test::SegmentationOutputs Outputs(const test::HeadLayout& layout);

/// One object a slot, each of another height, label and score, in the middle of 64 x 64 pixels.
test::SegmentationOutputs OneBoxASlot(const test::HeadLayout& layout);

/// Two boxes of a class that share 80 of 120: two thirds; and one of another class over them.
test::SegmentationOutputs Overlapping();

std::vector<cv::Size> Sizes(const std::vector<cv::Rect>& patches);

/// The configuration file with these patches.
YAML::Node Root(const std::vector<cv::Rect>& patches, const std::string& postprocess = "{}");

/// By a new decoder.
Lists Decode(const test::SegmentationOutputs& outputs, const std::vector<cv::Rect>& patches,
             const std::string& postprocess = "{}");

/// The objects of a 64 x 64 patch, whose pixels are the network's.
std::vector<Object> DecodeOne(const test::SegmentationOutputs& outputs,
                              const std::string& postprocess = "{}");

void ExpectBox(const Object& object, float x, float y, float width, float height);

/// The smallest rectangle around the mask's pixels, which must fill it.
cv::Rect FilledRectangle(const cv::Mat& mask);

std::vector<std::pair<int, float>> LabelsAndScores(const std::vector<Object>& objects);

void ExpectSameObjects(const std::vector<Object>& a, const std::vector<Object>& b);

}  // namespace nuvik::model
