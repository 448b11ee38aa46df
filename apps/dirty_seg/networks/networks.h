// Reads the two ONNX files into the detector's configuration.
#pragma once

#include <string>
#include <vector>

#include "engine/ai_engine.h"
#include "engine/network_reader.h"
#include "network/onnx_description.h"
#include "network/segmentation_head.h"

namespace dirty_seg {

/// What the file at `path` declares; nothing for what is not a regular file, which would be waited
/// for.
nuvik::alg::common::OnnxDescription DescribeNetwork(const std::string& path);

/// Describes the segmentation network for `patch_count` patches, which a network that takes any
/// batch gets. `threads` is AIEngineConfig's `thread_count`.
///
/// Throws SetupError, naming the file, the tensor, what was found and what was expected: the file
/// cannot be read (then a NetworkError, with the engine's words); its input is not the one
/// float32 [N, 3, S, S]; N is less than `patch_count`. The post-processor checks
/// whether the outputs are a YOLOv8 segmentation head.
nuvik::alg::common::Network ReadSegmentationNetwork(const std::string& path,
                                                    std::size_t patch_count, int threads);

/// Width and height in pixels of the input of a network that ReadSegmentationNetwork took.
int InputSide(const nuvik::alg::common::AIEngineConfig& config);

/// The network's outputs as a YOLOv8 segmentation head. Throws SetupError, naming the file and what
/// is wrong with them.
nuvik::model::SegmentationHead ReadHead(const std::string& path,
                                        const nuvik::alg::common::AIEngineConfig& config);

/// Describes the classifier: "input" float32 [1, 3, 224, 224], "output" float32 with two elements.
/// Other outputs are not computed. Throws SetupError in the same cases.
nuvik::alg::common::AIEngineConfig ReadFeceNetwork(const std::string& path, int threads);

}  // namespace dirty_seg
