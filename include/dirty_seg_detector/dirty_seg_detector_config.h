// Configuration record that the host fills for DirtySegDetector::Init.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/ai_engine.h"

namespace nuvik::perception::dirty_seg_detector {

/// Pinhole model of one camera, in pixels; distortion after Brown and Conrady. Carried, not read.
struct CameraIntrinsics {
  double fx = 0.0;
  double fy = 0.0;
  double cx = 0.0;
  double cy = 0.0;
  double k1 = 0.0;
  double k2 = 0.0;
  double p1 = 0.0;
  double p2 = 0.0;
  double k3 = 0.0;
};

/// The classifier's tensors: float32 [1, 3, kFeceSide, kFeceSide] in, two float32 logits out.
inline constexpr const char* kFeceInput = "input";
inline constexpr const char* kFeceOutput = "output";
inline constexpr int kFeceSide = 224;

/// `Init` copies the record whole; the host may discard its own afterwards.
struct DirtySegDetectorConfig {
  /// Segmentation network. Its input shapes are N, C, H, W.
  alg::common::AIEngineConfig dirty_seg_model_config;
  /// YAML file with the patches and the post-processor's keys.
  std::string yaml_config_path;

  // The next eight members belong to the host's record and travel with it; the detector never
  // reads them.
  std::map<std::string, CameraIntrinsics> camera_intrinsics;
  std::unordered_map<std::int32_t, std::string> class_names;
  std::unordered_set<std::string> enabled_cameras;
  std::unordered_map<std::int32_t, float> class_score_thresholds;
  std::unordered_map<std::int32_t, std::string> class_groups;
  std::unordered_map<std::string, double> parameters;
  double frame_rate = 0.0;
  std::string robot_id;

  /// Create the fece classifier and re-check candidates with it.
  bool fece_enable = false;
  /// Class ids of the segmentation network whose detections are candidates.
  std::vector<int> fece_class_ids;
  /// A candidate is confirmed when its class-1 probability is greater than this.
  float fece_score_threshold = 0.0F;
  /// A box of this many pixels or fewer is answered negative without inference.
  float fece_area_threshold = 0.0F;
  /// Classifier network, its tensors named and shaped as above.
  alg::common::AIEngineConfig fece_model_config;
};

}  // namespace nuvik::perception::dirty_seg_detector
