// Runs the detector, and combines what it returns with what it logs.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "detector/call_recorder.h"
#include "detector/fece_log.h"
#include "detector/frame_log.h"
#include "detector/labels.h"
#include "detector/part.h"
#include "dirty_seg_detector/dirty_seg_detector.h"
#include "engine/run_time.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;

/// The outcome of one frame.
struct FrameOutcome {
  /// What the detector found. When it failed: `success` false, `message` the cause, the rest empty.
  DirtyStatusResultData result;
  /// Times of the stages, from the library's log and the engine's runs. `classify` only with a
  /// classifier, and then `convert` is without it.
  StageTimes stages;
  /// Milliseconds that the call took, measured from outside.
  double total_ms = 0.0;
  /// Errors logged for a frame that succeeded, such as a classifier that failed on one candidate,
  /// and what could not be read from the log.
  std::vector<std::string> complaints;
  /// Name of an output of the segmentation network to how many of its numbers were not finite. If
  /// there are any, detections may be missing.
  std::map<std::string, std::int64_t> non_finite;
  /// The classifier's candidates; nothing without a classifier and for a frame that failed.
  std::optional<std::vector<FeceCandidate>> fece_candidates;
  /// One for each detection; nothing unless they were asked for, and for a frame that failed.
  std::optional<std::vector<Part>> parts;
  CallLines lines;
};

/// The outcome of a failed frame.
FrameOutcome Failed(std::string cause);

/// The kind of each detection of `found`, in their order. Without `candidates`, each of label 19
/// counts as confirmed if there is a classifier.
std::vector<Kind> KindsOf(const std::vector<int>& found,
                          const std::optional<std::vector<FeceCandidate>>& candidates,
                          const Labels& labels);
std::vector<Kind> KindsOf(const FrameOutcome& outcome, const Labels& labels);

/// The rules by which a detector of this configuration judges candidates; nothing without a
/// classifier.
std::optional<FeceRules> FeceRulesOf(const DirtySegDetectorConfig& config);

/// Initialises `detector` with both networks and the configuration file, which messages call
/// `config_name` unless that is empty. Throws SetupError, naming the files and the cause; a
/// NetworkError for a network that the engine does not load.
void InitDetector(const DirtySegDetectorConfig& config,
                  nuvik::perception::dirty_seg_detector::DirtySegDetector& detector,
                  CallRecorder& recorder, const std::string& config_name = "");

/// Message for a `FrameOutcome::non_finite` that is not empty.
std::string NonFiniteText(const std::map<std::string, std::int64_t>& counts);

/// Takes the classifier's runs out of `convert`, in which the log has them, so that the sum stays.
/// `runs` are all of one frame: the first is the segmentation network's, whose time is
/// `stages.inference`. Changes nothing for a frame that failed before `convert`.
void SeparateClassifier(const nuvik::alg::common::RunTime& runs, StageTimes& stages);

class FrameDetector {
 public:
  /// As `InitDetector`; `recorder` outlives this object. With `patches`, which are those of the
  /// configuration, outcomes have their parts.
  FrameDetector(const DirtySegDetectorConfig& config, CallRecorder& recorder,
                std::optional<std::vector<cv::Rect>> patches = std::nullopt,
                const std::string& config_name = "");

  /// `picture` is CV_8UC3 in B, G, R order and not empty. Throws nothing but std::bad_alloc.
  /// Shows nothing: the outcome's lines are for the caller to pass to `CallRecorder::Show`.
  FrameOutcome Detect(const std::shared_ptr<cv::Mat>& picture);

 private:
  CallRecorder& recorder_;
  std::optional<FeceRules> fece_rules_;  // nothing without a classifier
  std::optional<std::vector<cv::Rect>> patches_;
  nuvik::perception::dirty_seg_detector::DirtySegDetector detector_;
};

}  // namespace dirty_seg
