// From what a person names on the command line to what the detector wants.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "dirty_seg_detector/dirty_seg_detector_config.h"
#include "host/labels.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;

/// Networks, patches and thresholds of one detector.
struct DetectorOptions {
  std::string model;
  std::string config;
  std::string fece_model;  // empty: no classifier
  std::vector<int> fece_class_ids;
  float fece_score_threshold = 0.5F;
  float fece_area_threshold = 400.0F;
  int threads = 0;  // 0: all cores
};

struct DetectorSetup {
  DirtySegDetectorConfig config;
  std::vector<cv::Rect> patches;
  Labels labels;
};

/// Sets OpenCV's threads for the process; 0: all cores. More than that are of no use to it: its
/// thread library complains on standard error, and leaves it at that.
void SetThreads(int threads);

/// Reads the configuration file and both networks, and sets OpenCV's threads for the process. Warns
/// of candidate classes that the segmentation network does not name. Throws SetupError, also for
/// everything that a check calls an error (config_check.h).
DetectorSetup SetUpDetector(const DetectorOptions& options);

}  // namespace dirty_seg
