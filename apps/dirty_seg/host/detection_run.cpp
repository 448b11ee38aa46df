#include "host/detection_run.h"

#include <utility>

#include "host/interruption.h"
#include "host/messages.h"
#include "host/speed_line.h"
#include "host/stopwatch.h"

namespace dirty_seg {

namespace {

void TellSharedLabel(const Labels& labels) {
  if (!labels.share_faeces_label()) return;
  const std::string* name = labels.FindName(kFaecesLabel);
  const std::string own = name == nullptr ? "" : ", '" + *name + "'";
  TellWarning("the segmentation network has a class 19 of its own" + own +
              "; what the classifier confirms gets the label 19 too. 'confirmed' in the results "
              "tells the two apart, and a confirmed one is called '" +
              labels.Text({kFaecesLabel, true}) + "'");
}

}  // namespace

DetectionRun::DetectionRun(DetectorSetup setup, FitMode fit, RunDescription description,
                           const ResultOptions& options, LogCapture& log)
    : patches_(std::move(setup.patches)),
      fit_(fit),
      labels_(std::move(setup.labels)),
      detector_(setup.config, log),
      writer_(options, labels_, log.standard_output()),
      summary_(std::move(description)) {
  TellSharedLabel(labels_);
}

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
  record.fit = FitToFrame(frame.picture->size(), fit_);
  record.outcome = Detect(frame, record);
  for (const std::string& complaint : record.outcome.complaints) {
    TellWarning(NameOf(frame) + ": " + complaint);
  }
  const DirtyStatusResultData& result = record.outcome.result;
  writer_.Write(frame, record);
  summary_.AddFrame(record);
  if (!result.success) throw InputError(result.message);
  if (has_folder()) {
    TellPlainly(FrameLine(frame, source.InputCount(), source.FrameCount(), record, labels_));
  }
}

// The detector would find nothing in the grey around a small picture, and call that a success.
FrameOutcome DetectionRun::Detect(const Frame& frame, FrameRecord& record) {
  const Stopwatch watch;
  const std::shared_ptr<cv::Mat> whole = PlaceInFrame(frame.picture, record.fit);
  record.read_ms = frame.read_ms + watch.Milliseconds();
  const std::string fault = FindReachFault(patches_, record.fit);
  return fault.empty() ? detector_.Detect(whole) : Failed(fault);
}

void DetectionRun::BeginInput(const Frame& frame) {
  if (input_ == frame.input) return;
  EndInput();
  input_ = frame.input;
  input_failed_ = false;
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

}  // namespace dirty_seg
