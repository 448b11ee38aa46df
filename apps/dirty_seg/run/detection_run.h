// Runs the detector over all frames of a source, and writes the results.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/errors.h"
#include "console/progress.h"
#include "detector/detector_setup.h"
#include "detector/frame_detector.h"
#include "detector/labels.h"
#include "detector/log_capture.h"
#include "frames/frame_fit.h"
#include "frames/frame_source.h"
#include "results/summary.h"
#include "run/result_writer.h"

namespace dirty_seg {

class DetectionRun {
 public:
  /// `log` outlives this object. Throws SetupError with the cause.
  DetectionRun(DetectorSetup setup, FitMode fit, RunDescription description,
               const ResultOptions& options, LogCapture& log);

  bool has_folder() const { return writer_.has_folder(); }

  /// Works until the source ends, an Interruption happened, or something cannot be written, and
  /// completes the output. An input that fails is reported on standard error, and the others are
  /// still processed. `progress` may be null.
  ExitStatus Process(FrameSource& source, Progress* progress);

 private:
  void ProcessFrame(const Frame& frame, const FrameSource& source);
  void BeginInput(const Frame& frame);
  void EndInput();
  void Fail(const Frame& frame, const std::string& cause);
  bool Finish(const RunEnd& end);
  std::string ProcessedText(const RunEnd& end) const;
  std::string NonFiniteNote() const;
  std::string KeptText() const;
  FrameOutcome Detect(const Frame& frame, FrameRecord& record);

  std::vector<cv::Rect> patches_;
  FitMode fit_;
  Labels labels_;
  FrameDetector detector_;
  ResultWriter writer_;
  Summary summary_;
  std::optional<std::size_t> input_;  // that is being worked on
  bool input_failed_ = false;
  bool has_more_ = false;     // the input, a video or camera that did not fail
  bool lacks_files_ = false;  // the last frame that is recorded
};

}  // namespace dirty_seg
