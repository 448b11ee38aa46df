// Runs the detector over all frames of a source, and writes the results.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <set>
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
#include "run/pipeline.h"
#include "run/result_writer.h"

namespace dirty_seg {

class DetectionRun {
 public:
  /// `log` outlives this object. Throws SetupError with the cause.
  DetectionRun(DetectorSetup setup, FitMode fit, RunDescription description,
               const ResultOptions& options, LogCapture& log,
               Progress::Clock clock = SteadySeconds);

  /// What an earlier run has done, whose folder is gone on with.
  std::vector<DoneInput> DoneInputs() const;

  bool has_folder() const { return writer_.has_folder(); }

  /// Works until the source ends, an Interruption happened, or something cannot be written, and
  /// completes the output. An input that fails is reported on standard error, and the others are
  /// still processed. `progress` may be null.
  ///
  /// With `in_turn`, each frame is read, processed and written before the next is read. Otherwise
  /// the next frames are read and the last ones written while one is processed: on threads of their
  /// own, which `source` and `progress` are used by; results and messages are the same, in the same
  /// order. Only a later input that the run itself writes is not there yet.
  ExitStatus Process(FrameSource& source, Progress* progress, bool in_turn);

  /// True once no more is needed of the source, since something could not be written. For any
  /// thread.
  bool IsOver() const { return is_over_; }

 private:
  // A frame on its way.
  struct Step {
    Frame frame;
    std::shared_ptr<cv::Mat> whole;  // the picture, placed in a frame of the detector's size
    FrameRecord record;
    // What the source knew when it gave the frame.
    std::optional<std::size_t> inputs;
    std::optional<std::int64_t> frames;  // of the input
    std::optional<std::int64_t> left;    // of all inputs
  };

  std::optional<Step> Read(FrameSource& source);
  void Place(Step& step) const;
  bool Detect(Step& step);
  bool Write(Step& step, Progress* progress);
  void WriteFrame(Step& step);
  void Restore();
  void TakeUp(std::size_t index);
  Summary Reported() const;
  void KeepSummary();
  void ShowMessages(const Step& step);
  void BeginInput(const Frame& frame);
  void EndInput();
  void Fail(const Frame& frame, const std::string& cause);
  bool Finish();
  std::string ProcessedText() const;
  std::string NonFiniteNote() const;
  std::string KeptText() const;

  std::atomic<bool> is_over_{false};
  std::vector<cv::Rect> patches_;
  FitMode fit_;
  Labels labels_;
  bool is_exhausted_ = false;  // the source
  LogCapture& log_;
  FrameDetector detector_;
  // Of writing.
  ResultWriter writer_;
  Summary summary_;
  EarlierResults earlier_;
  std::set<std::size_t> earlier_left_;  // inputs of `earlier_` that were not come to
  Progress::Clock clock_;
  double next_summary_;  // seconds on the clock
  RunEnd end_;
  std::int64_t done_ = 0;             // frames
  std::optional<std::size_t> input_;  // that is being worked on
  bool input_failed_ = false;
  bool has_lines_ = false;           // the input, in results.jsonl
  bool fails_beyond_lines_ = false;  // the input, in a way that these do not tell
  bool has_more_ = false;            // the input, a video or camera that did not fail
  bool lacks_files_ = false;         // the last frame that is recorded
};

}  // namespace dirty_seg
