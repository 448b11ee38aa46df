// The detector with what it says in its log beside what it returns.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "detector/fece_log.h"
#include "detector/frame_log.h"
#include "detector/labels.h"
#include "detector/log_capture.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;

/// What became of one frame.
struct FrameOutcome {
  /// What the detector found. When it failed: `success` false, `message` the cause, the rest empty.
  DirtyStatusResultData result;
  /// Stages as the library's log tells them.
  StageTimes stages;
  /// Milliseconds that the call took, measured from outside.
  double total_ms = 0.0;
  /// Errors that the log tells of a frame that went through, such as a classifier that failed on
  /// one candidate, or that its lines cannot be told apart.
  std::vector<std::string> complaints;
  /// Name of an output of the segmentation network to how many of its numbers were not finite.
  /// Where there are any, what was found is not all that a sound network finds.
  std::map<std::string, std::int64_t> non_finite;
  /// What the classifier was to look at; nothing without a classifier and for a frame that failed.
  std::optional<std::vector<FeceCandidate>> fece_candidates;
};

/// Of a frame that failed.
FrameOutcome Failed(std::string cause);

/// What each detection of `found` is, in their order. Where the log does not tell what was
/// confirmed, every one of label 19 counts as confirmed by a classifier that there is.
std::vector<Kind> KindsOf(const std::vector<int>& found,
                          const std::optional<std::vector<FeceCandidate>>& candidates,
                          const Labels& labels);
std::vector<Kind> KindsOf(const FrameOutcome& outcome, const Labels& labels);

/// By what a detector of this configuration judges candidates; nothing without a classifier.
std::optional<FeceRules> FeceRulesOf(const DirtySegDetectorConfig& config);

/// Has `detector` load both networks and the configuration file. `log` was made before anything
/// logged. Throws SetupError, naming the files and the cause.
void InitDetector(const DirtySegDetectorConfig& config,
                  nuvik::perception::dirty_seg_detector::DirtySegDetector& detector,
                  LogCapture& log);

/// Tells people what `FrameOutcome::non_finite`, which is not empty, means.
std::string NonFiniteText(const std::map<std::string, std::int64_t>& counts);

class FrameDetector {
 public:
  /// As `InitDetector`; `log` outlives this object.
  FrameDetector(const DirtySegDetectorConfig& config, LogCapture& log);

  /// `picture` is CV_8UC3 in B, G, R order and not empty. Throws nothing but std::bad_alloc.
  FrameOutcome Detect(const std::shared_ptr<cv::Mat>& picture);

 private:
  LogCapture& log_;
  std::optional<FeceRules> fece_rules_;  // nothing without a classifier
  nuvik::perception::dirty_seg_detector::DirtySegDetector detector_;
};

}  // namespace dirty_seg
