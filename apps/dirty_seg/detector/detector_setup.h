// From what a person names on the command line to what the detector wants.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "config/detector_options.h"
#include "detector/labels.h"
#include "dirty_seg_detector/dirty_seg_detector_config.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;

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
