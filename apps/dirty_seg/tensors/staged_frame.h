// One frame through the detector stage by stage, with every tensor on the way.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "detector/fece_log.h"
#include "detector/log_capture.h"
#include "dirty_seg_detector/dirty_seg_detector.h"
#include "geometry/letterbox.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;

/// What the detector did with one frame.
struct StagedFrame {
  /// By name, with type and shape: the bytes that the network read, and those that it wrote.
  std::map<std::string, nuvik::alg::common::AIBuff> inputs;
  std::map<std::string, nuvik::alg::common::AIBuff> outputs;
  DirtyStatusResultData result;
  /// As in FrameOutcome.
  std::optional<std::vector<FeceCandidate>> fece_candidates;
};

/// Runs the stages of DirtySegDetector::DoInference one after the other, with an engine of its own
/// between the detector's preparation and its post-processing. `picture` is CV_8UC3 and the whole
/// frame; `log` was made before anything logged. Throws SetupError when a network or the
/// configuration cannot be used, InputError when the frame cannot.
StagedFrame RunStages(const DirtySegDetectorConfig& config, const std::string& config_name,
                      const std::shared_ptr<cv::Mat>& picture, LogCapture& log);

/// The place of a patch in the input tensor.
struct PatchSlot {
  /// Index of the patch in the configuration. A patch outside the frame takes no slot.
  std::size_t patch = 0;
  /// The patch, clipped to the frame, in pixels of the frame.
  cv::Rect crop;
  /// How the crop lies in the network's square. Smaller than that where lengths were truncated;
  /// then the rows in the tensor are shorter than the network takes them to be.
  nuvik::geometry::Letterbox letterbox;
};

/// The slots that `patches` take, in order, in a network with an input of `side` x `side`.
std::vector<PatchSlot> FindSlots(const std::vector<cv::Rect>& patches, int side);

}  // namespace dirty_seg
