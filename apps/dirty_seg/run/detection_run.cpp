#include "run/detection_run.h"

#include <fmt/format.h>

#include <utility>

#include "base/stopwatch.h"
#include "base/text.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "run/speed_line.h"

namespace dirty_seg {

namespace {

void WarnOfSharedLabel(const Labels& labels) {
  if (!labels.share_faeces_label()) return;
  const std::string* name = labels.FindName(kFeceLabel);
  const std::string own = name == nullptr ? "" : fmt::format(", '{}'", *name);
  PrintWarning(fmt::format(
      "the segmentation network has a class {0} of its own{1}; what the classifier confirms gets "
      "the label {0} too. 'confirmed' in the results tells the two apart, and a confirmed one is "
      "called '{2}'",
      kFeceLabel, own, labels.Text({kFeceLabel, true})));
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
  WarnOfSharedLabel(labels_);
}

ExitStatus DetectionRun::Process(FrameSource& source, Progress* progress) {
  RunEnd end;
  std::int64_t done = 0;
  while (!Interruption::Happened() && end.write_error.empty()) {
    const std::optional<Frame> frame = source.NextFrame();
    if (!frame || frame->input != input_) has_more_ = false;
    if (!frame || Interruption::Happened()) break;
    BeginInput(*frame);
    try {
      if (!frame->failure.empty()) throw InputError(frame->failure);
      ProcessFrame(*frame, source);
      ++done;
    } catch (const InputError& error) {
      Fail(*frame, error.what());
    } catch (const OutputError& error) {
      Fail(*frame, error.what());
      end.write_error = error.what();
    }
    const std::optional<std::int64_t> count = source.FrameCount();
    has_more_ = frame->kind != InputKind::kPicture && !input_failed_ &&
                count != static_cast<std::int64_t>(frame->ordinal) + 1;
    const std::optional<std::int64_t> left = source.FramesLeft();
    if (progress != nullptr) progress->Update(done, left ? std::optional(done + *left) : left);
  }
  EndInput();
  end.interrupted = Interruption::Happened();
  end.inputs = source.InputCount();
  const bool is_written = Finish(end) && end.write_error.empty();
  if (end.interrupted && is_written) return kInterrupted;
  return is_written && summary_.failed() == 0 ? kAllDone : kSomeInputFailed;
}

void DetectionRun::ProcessFrame(const Frame& frame, const FrameSource& source) {
  FrameRecord record;
  record.source = frame.source;
  record.frame = frame.index;
  record.fit = FitToFrame(frame.picture->size(), fit_);
  record.outcome = Detect(frame, record);
  for (const std::string& complaint : record.outcome.complaints) {
    PrintWarning(NameOf(frame) + ": " + complaint);
  }
  if (!record.outcome.non_finite.empty()) {
    PrintWarning(NameOf(frame) + ": " + NonFiniteText(record.outcome.non_finite));
  }
  const DirtyStatusResultData& result = record.outcome.result;
  const FrameFiles files = writer_.WriteRecord(frame, record);
  summary_.AddFrame(record);
  lacks_files_ = true;
  writer_.WriteFiles(frame, record, files);
  lacks_files_ = false;
  if (!result.success) throw InputError(result.message);
  if (has_folder()) {
    PrintLine(FrameLine(frame, source.InputCount(), source.FrameCount(), record, labels_));
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
  PrintError(NameOf(frame) + ": " + cause);
  input_failed_ = true;
  const bool is_of_frame = frame.kind != InputKind::kPicture && frame.picture != nullptr;
  summary_.AddFailure(
      {frame.source, is_of_frame ? std::optional(frame.index) : std::nullopt, cause});
}

// Returns whether all could be written.
bool DetectionRun::Finish(const RunEnd& end) {
  bool is_complete = true;
  try {
    writer_.Finish(summary_, end);
  } catch (const OutputError& error) {
    PrintError(error.what());
    is_complete = false;
  }
  // An argument always gives an input, if only one that fails.
  if (summary_.inputs() == 0 && !end.interrupted) {
    PrintWarning("the list on standard input is empty");
  }
  if (!end.write_error.empty()) {
    PrintError(fmt::format("the run ends here, as nothing more can be kept: {}; {}",
                           ProcessedText(end), KeptText()));
    return is_complete;
  }
  if (!has_folder()) return is_complete;
  const std::string speed = SpeedLine(summary_);
  if (!speed.empty()) PrintLine(speed);
  PrintMessage(fmt::format("{}{}{}; results in {}", end.interrupted ? "interrupted: " : "",
                           ProcessedText(end), NonFiniteNote(), writer_.destination()));
  return is_complete;
}

std::string DetectionRun::ProcessedText(const RunEnd& end) const {
  const std::size_t whole = summary_.inputs() - summary_.failed() - (has_more_ ? 1 : 0);
  const std::string text =
      end.inputs ? fmt::format("{} of {} inputs", whole, *end.inputs) : Counted(whole, "input");
  return fmt::format("{} processed{}", text, has_more_ ? ", 1 in part" : "");
}

std::string DetectionRun::NonFiniteNote() const {
  const std::size_t count = summary_.non_finite_frames();
  if (count == 0) return "";
  return fmt::format(", {} of {} frames with numbers that are not finite", count,
                     summary_.frames());
}

std::string DetectionRun::KeptText() const {
  const std::size_t frames = summary_.frames();
  return fmt::format("{} of results {} in {}{}", Counted(frames, "frame"),
                     frames == 1 ? "is" : "are", writer_.destination(),
                     lacks_files_ ? "; the last one lacks some of its files" : "");
}

}  // namespace dirty_seg
