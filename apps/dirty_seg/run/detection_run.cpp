#include "run/detection_run.h"

#include <fmt/format.h>

#include <utility>

#include "base/stopwatch.h"
#include "base/text.h"
#include "console/error_capture.h"
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

// Of a picture that others may be in memory beside: more than one of 3840 x 2160 pixels takes.
constexpr std::size_t kMaxBytesBesideOthers = std::size_t{32} << 20U;

bool IsLarge(const Frame& frame) {
  return frame.picture != nullptr &&
         frame.picture->total() * frame.picture->elemSize() > kMaxBytesBesideOthers;
}

}  // namespace

DetectionRun::DetectionRun(DetectorSetup setup, FitMode fit, RunDescription description,
                           const ResultOptions& options, LogCapture& log)
    : patches_(std::move(setup.patches)),
      fit_(fit),
      labels_(std::move(setup.labels)),
      detector_(setup.config, log, options.merge ? std::optional(patches_) : std::nullopt,
                description.config),
      writer_(options, labels_, log.standard_output()),
      summary_(std::move(description)) {
  WarnOfSharedLabel(labels_);
}

ExitStatus DetectionRun::Process(FrameSource& source, Progress* progress, bool in_turn) {
  ErrorCapture::Prepare();
  end_.inputs = source.InputCount();
  Pipeline<Step> pipeline(
      {[&] { return Read(source); }, [this](Step& step) { return Detect(step); },
       [&](Step& step) { return Write(step, progress); },
       [](const Step& step) { return IsLarge(step.frame); }},
      is_over_);
  in_turn ? pipeline.RunInTurn() : pipeline.RunOverlapped();
  end_.interrupted = Interruption::Happened();
  if (is_exhausted_ && !end_.interrupted && end_.write_error.empty()) {
    end_.inputs = source.InputCount();
    has_more_ = false;
  }
  EndInput();
  const bool is_written = Finish() && end_.write_error.empty();
  if (end_.interrupted && is_written) return kInterrupted;
  return is_written && summary_.failed() == 0 ? kAllDone : kSomeInputFailed;
}

std::optional<DetectionRun::Step> DetectionRun::Read(FrameSource& source) {
  if (Interruption::Happened()) return std::nullopt;
  std::optional<Frame> frame = source.NextFrame();
  is_exhausted_ = !frame;
  if (!frame || Interruption::Happened()) return std::nullopt;
  Step step{*std::move(frame),  nullptr, {}, source.InputCount(), source.FrameCount(),
            source.FramesLeft()};
  if (!step.frame.failure.empty()) return step;
  try {
    const Stopwatch watch;
    step.record.fit = FitToFrame(step.frame.picture->size(), fit_);
    step.whole = PlaceInFrame(step.frame.picture, step.record.fit);
    step.record.read_ms = step.frame.read_ms + watch.Milliseconds();
  } catch (const InputError& error) {
    step.frame.failure = error.what();
  }
  return step;
}

// The detector would find nothing in the grey around a small picture, and call that a success.
bool DetectionRun::Detect(Step& step) {
  if (Interruption::Happened()) return false;
  if (!step.frame.failure.empty()) return true;
  const std::string fault = FindReachFault(patches_, step.record.fit);
  step.record.outcome = fault.empty() ? detector_.Detect(step.whole) : Failed(fault);
  step.whole.reset();
  return true;
}

bool DetectionRun::Write(Step& step, Progress* progress) {
  const Frame& frame = step.frame;
  end_.inputs = step.inputs;
  BeginInput(frame);
  try {
    PrintDecoderWarning(frame);
    if (!frame.failure.empty()) throw InputError(frame.failure);
    WriteFrame(step);
    ++done_;
  } catch (const InputError& error) {
    Fail(frame, error.what());
  } catch (const OutputError& error) {
    Fail(frame, error.what());
    end_.write_error = error.what();
  }
  has_more_ = frame.kind != InputKind::kPicture && !input_failed_ &&
              step.frames != static_cast<std::int64_t>(frame.ordinal) + 1;
  if (progress != nullptr) {
    progress->Update(done_, step.left ? std::optional(done_ + *step.left) : std::nullopt);
  }
  return end_.write_error.empty();
}

void DetectionRun::WriteFrame(Step& step) {
  const Frame& frame = step.frame;
  FrameRecord& record = step.record;
  record.source = frame.source;
  record.frame = frame.index;
  ShowMessages(step);
  const FrameFiles files = writer_.WriteRecord(frame, record);
  summary_.AddFrame(record);
  lacks_files_ = true;
  writer_.WriteFiles(frame, record, files);
  lacks_files_ = false;
  const DirtyStatusResultData& result = record.outcome.result;
  if (!result.success) throw InputError(result.message);
  if (has_folder()) PrintLine(FrameLine(frame, step.inputs, step.frames, record, labels_));
}

void DetectionRun::ShowMessages(const Step& step) {
  const FrameOutcome& outcome = step.record.outcome;
  detector_.Show(outcome);
  for (const std::string& complaint : outcome.complaints) {
    PrintWarning(NameOf(step.frame) + ": " + complaint);
  }
  if (!outcome.non_finite.empty()) {
    PrintWarning(NameOf(step.frame) + ": " + NonFiniteText(outcome.non_finite));
  }
}

void DetectionRun::BeginInput(const Frame& frame) {
  if (input_ == frame.input) return;
  has_more_ = false;
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
bool DetectionRun::Finish() {
  bool is_complete = true;
  try {
    writer_.Finish(summary_, end_);
  } catch (const OutputError& error) {
    PrintError(error.what());
    is_complete = false;
  }
  // An argument always gives an input, if only one that fails.
  if (summary_.inputs() == 0 && !end_.interrupted) {
    PrintWarning("the list on standard input is empty");
  }
  if (!end_.write_error.empty()) {
    PrintError(fmt::format("the run ends here, as nothing more can be kept: {}; {}",
                           ProcessedText(), KeptText()));
    return is_complete;
  }
  if (!has_folder()) return is_complete;
  const std::string speed = SpeedLine(summary_);
  if (!speed.empty()) PrintLine(speed);
  PrintMessage(fmt::format("{}{}{}; results in {}", end_.interrupted ? "interrupted: " : "",
                           ProcessedText(), NonFiniteNote(), writer_.destination()));
  return is_complete;
}

std::string DetectionRun::ProcessedText() const {
  const std::size_t whole = summary_.inputs() - summary_.failed() - (has_more_ ? 1 : 0);
  const std::string text =
      end_.inputs ? fmt::format("{} of {} inputs", whole, *end_.inputs) : Counted(whole, "input");
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
