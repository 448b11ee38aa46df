// A frame as one would otherwise write it: OpenCV's calls around a session of the runtime with its
// default options.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "bench/scene.h"
#include "engine/yolov8_postprocess.h"

namespace bench {

using ObjectLists = std::vector<std::vector<nuvik::model::Object>>;

/// [patches, 3, kSide, kSide]: each patch letterboxed, R, G, B, 0..1.
cv::Mat BlobOf(const cv::Mat& frame, const std::vector<cv::Rect>& patches);

/// The objects of each slot: every anchor's best class, suppression, all prototypes for every
/// object, sigmoid, resize to the patch, threshold, crop.
ObjectLists DecodeGeneric(const Outputs& outputs);

/// The same of one slot's two tensors.
std::vector<nuvik::model::Object> DecodeGeneric(const float* predictions, const float* prototypes);

}  // namespace bench
