// Layout of a YOLOv8 segmentation network's outputs.
#pragma once

#include <string>
#include <vector>

#include "engine/ai_engine.h"

namespace nuvik::model {

/// Predictions are [batch, channels, anchors], or [batch, anchors, channels] when `anchor_major`;
/// channels are centre x, centre y, width and height in network pixels, then the class scores, then
/// the mask coefficients. Prototypes are [batch, coefficients, proto_side, proto_side].
struct SegmentationHead {
  std::string predictions;
  std::string prototypes;
  alg::common::AIDataType predictions_type = alg::common::kAIFloat32;
  alg::common::AIDataType prototypes_type = alg::common::kAIFloat32;
  int batch = 0;
  /// Side of the network's square input in pixels.
  int input_side = 0;
  int classes = 0;
  int coefficients = 0;
  int anchors = 0;
  bool anchor_major = false;
  int proto_side = 0;

  int channels() const { return 4 + classes + coefficients; }
};

/// Tells the two outputs apart by rank and shape, never by name. Throws std::invalid_argument with
/// what was found and what would be right when `config` is not that of such a network.
SegmentationHead ReadSegmentationHead(const alg::common::AIEngineConfig& config);

}  // namespace nuvik::model
