#include "host/detection_run.h"

#include <algorithm>
#include <utility>

#include "geometry/letterbox.h"
#include "host/interruption.h"
#include "host/messages.h"
#include "host/size_text.h"
#include "host/speed_line.h"

namespace dirty_seg {

namespace geometry = nuvik::geometry;

DetectionRun::DetectionRun(DetectorSetup setup, RunDescription description,
                           const ResultOptions& options, LogCapture& log)
    : patches_(std::move(setup.patches)),
      labels_(std::move(setup.labels)),
      detector_(setup.config, log),
      writer_(options, labels_, log.standard_output()),
      summary_(std::move(description)) {}

ExitStatus DetectionRun::Process(FrameSource& source, Progress* progress) {
  std::int64_t done = 0;
  while (!Interruption::Happened()) {
    const std::optional<Frame> frame = source.NextFrame();
    if (!frame || Interruption::Happened()) break;
    BeginInput(*frame);
    try {
      if (!frame->failure.empty()) throw InputError(frame->failure);
      ProcessFrame(*frame, source);
      ++done;
    } catch (const InputError& error) {
      Fail(*frame, error.what());
    }
    const std::optional<std::int64_t> left = source.FramesLeft();
    if (progress != nullptr) progress->Update(done, left ? std::optional(done + *left) : left);
  }
  EndInput();
  const bool interrupted = Interruption::Happened();
  const bool is_complete = Finish(interrupted);
  if (interrupted) return kInterrupted;
  return is_complete && summary_.failed() == 0 ? kAllDone : kSomeInputFailed;
}

void DetectionRun::ProcessFrame(const Frame& frame, const FrameSource& source) {
  FrameRecord record;
  record.source = frame.source;
  record.frame = frame.index;
  record.image_size = frame.picture->size();
  record.read_ms = frame.read_ms;
  if (record.image_size != told_size_) TellOddSize(frame.source, record.image_size);
  told_size_ = record.image_size;

  record.outcome = detector_.Detect(frame.picture);
  for (const std::string& complaint : record.outcome.complaints) {
    TellWarning(NameOf(frame) + ": " + complaint);
  }
  DirtyStatusResultData& result = record.outcome.result;
  if (!result.success) result.message += FailureHint(record.image_size);
  writer_.Write(frame, record);
  summary_.AddFrame(record);
  if (!result.success) throw InputError(result.message);
  if (has_folder()) {
    TellPlainly(FrameLine(frame, source.InputCount(), source.FrameCount(), record, labels_));
  }
}

void DetectionRun::BeginInput(const Frame& frame) {
  if (input_ == frame.input) return;
  EndInput();
  input_ = frame.input;
  input_failed_ = false;
  told_size_ = cv::Size();
}

void DetectionRun::EndInput() {
  if (input_) summary_.AddInput(input_failed_);
  input_.reset();
}

void DetectionRun::Fail(const Frame& frame, const std::string& cause) {
  TellError(NameOf(frame) + ": " + cause);
  input_failed_ = true;
}

// Returns whether all could be written.
bool DetectionRun::Finish(bool interrupted) {
  try {
    writer_.Finish(summary_, interrupted);
  } catch (const InputError& error) {
    TellError(error.what());
    return false;
  }
  // An argument always gives an input, if only one that fails.
  if (summary_.inputs() == 0 && !interrupted) TellWarning("the list on standard input is empty");
  if (!has_folder()) return true;
  const std::string speed = SpeedLine(summary_);
  if (!speed.empty()) TellPlainly(speed);
  Tell(std::string(interrupted ? "interrupted: " : "") +
       std::to_string(summary_.inputs() - summary_.failed()) + " of " +
       std::to_string(summary_.inputs()) + " inputs processed; results in " +
       writer_.destination());
  return true;
}

void DetectionRun::TellOddSize(const std::string& source, const cv::Size& size) const {
  const cv::Size expected(geometry::kFrameWidth, geometry::kFrameHeight);
  if (size == expected) return;
  TellWarning("'" + source + "' is " + SizeText(size) + ", not " + SizeText(expected) +
              ": patches are laid out on that frame, so results may be missing or misplaced");
}

// The detector says of a picture that no patch reaches only that preparing it failed.
std::string DetectionRun::FailureHint(const cv::Size& size) const {
  const bool is_reached = std::any_of(
      patches_.begin(), patches_.end(),
      [&size](const cv::Rect& patch) { return patch.x < size.width && patch.y < size.height; });
  return is_reached ? "" : "; no patch reaches into a picture of " + SizeText(size);
}

}  // namespace dirty_seg
