// From the user's options to the detector's configuration.
#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "config/config_check.h"
#include "config/detector_options.h"
#include "config/effective_config.h"
#include "detector/labels.h"
#include "dirty_seg_detector/dirty_seg_detector_config.h"
#include "network/postprocess_options.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;

struct DetectorSetup {
  DirtySegDetectorConfig config;
  /// What `config` names as its file; it has to live until the detector has read it.
  std::shared_ptr<const EffectiveConfig> file;
  std::vector<cv::Rect> patches;
  Labels labels;
};

/// Sets OpenCV's threads for the process; 0: all cores. Never more than that: its thread library
/// would only complain on standard error.
void SetThreads(int threads);

/// Whether that left one.
bool UsesOneThread();

/// The first half of setting up: reads the configuration file, and sets OpenCV's threads and the
/// engine's environment variable, both of the whole process; so it comes before libraries are
/// loaded on another thread. Throws SetupError, also for everything that a check calls an error
/// (config_check.h).
ConfigCheck PrepareDetector(const DetectorOptions& options);

/// The second half: reads the file of names and both networks. `check` is what `PrepareDetector`
/// gave. Warns about candidate classes that the segmentation network does not name or that are not
/// kept, and about thresholds and names of classes that it does not have. Throws SetupError.
DetectorSetup SetUpDetector(const DetectorOptions& options, ConfigCheck check);

/// Both halves.
DetectorSetup SetUpDetector(const DetectorOptions& options);

}  // namespace dirty_seg
