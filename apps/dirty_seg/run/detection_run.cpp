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

constexpr double kSummarySeconds = 60.0;  // from one summary.json to the next

// Of a picture that others may be in memory beside: more than one of 3840 x 2160 pixels takes.
constexpr std::size_t kMaxBytesBesideOthers = std::size_t{32} << 20U;

bool IsLarge(const Frame& frame) {
  return frame.picture != nullptr &&
         frame.picture->total() * frame.picture->elemSize() > kMaxBytesBesideOthers;
}

}  // namespace

DetectionRun::DetectionRun(DetectorSetup setup, FitMode fit, RunDescription description,
                           const ResultOptions& options, LogCapture& log, Progress::Clock clock)
    : patches_(std::move(setup.patches)),
      fit_(fit),
      labels_(std::move(setup.labels)),
      log_(log),
      detector_(setup.config, log, options.merge ? std::optional(patches_) : std::nullopt,
                description.config),
      writer_(options, labels_, log.standard_output(), description),
      summary_(std::move(description)),
      clock_(std::move(clock)),
      next_summary_(clock_() + kSummarySeconds) {
  WarnOfSharedLabel(labels_);
  try {
    Restore();
    writer_.WriteSummary(Reported(), {});
  } catch (const OutputError& error) {
    throw SetupError(error.what());
  }
}

void DetectionRun::Restore() {
  earlier_ = writer_.Restore(summary_);
  for (std::size_t i = 0; i < earlier_.inputs.size(); ++i) earlier_left_.insert(i);
  if (earlier_.inputs.empty()) return;
  PrintMessage(fmt::format("going on with {}, which has {} of {}", writer_.destination(),
                           Counted(earlier_.frames, "frame"),
                           Counted(earlier_.inputs.size(), "input")));
}

std::vector<DoneInput> DetectionRun::DoneInputs() const {
  std::vector<DoneInput> done;
  for (const EarlierInput& input : earlier_.inputs) {
    done.push_back({input.source, input.frames, input.next_frame, input.is_whole});
  }
  return done;
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
  end_.complete = is_exhausted_ && !end_.interrupted && end_.write_error.empty();
  if (end_.complete) {
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
  if (step.frame.failure.empty() && !step.frame.is_done) Place(step);
  return step;
}

void DetectionRun::Place(Step& step) const try {
  const Stopwatch watch;
  step.record.fit = FitToFrame(step.frame.picture->size(), fit_);
  step.whole = PlaceInFrame(step.frame.picture, step.record.fit);
  step.record.read_ms = step.frame.read_ms + watch.Milliseconds();
} catch (const InputError& error) {
  step.frame.failure = error.what();
}

// The detector would find nothing in the grey around a small picture, and call that a success.
bool DetectionRun::Detect(Step& step) {
  if (Interruption::Happened()) return false;
  if (!step.frame.failure.empty() || step.frame.is_done) return true;
  const std::string fault = FindReachFault(patches_, step.record.fit);
  step.record.outcome = fault.empty() ? detector_.Detect(step.whole) : Failed(fault);
  step.whole.reset();
  return true;
}

bool DetectionRun::Write(Step& step, Progress* progress) {
  const Frame& frame = step.frame;
  end_.inputs = step.inputs;
  try {
    BeginInput(frame);
    PrintDecoderWarning(frame);
    if (!frame.failure.empty()) throw InputError(frame.failure);
    if (!frame.is_done) {
      WriteFrame(step);
    } else if (frame.picture != nullptr) {
      writer_.Redraw(frame, earlier_);
    }
    KeepSummary();
  } catch (const InputError& error) {
    Fail(frame, error.what());
    fails_beyond_lines_ = has_lines_;
  } catch (const OutputError& error) {
    Fail(frame, error.what());
    end_.write_error = error.what();
  }
  has_more_ = frame.kind != InputKind::kPicture && frame.picture != nullptr && !input_failed_ &&
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
  has_lines_ = true;
  summary_.AddFrame(record);
  lacks_files_ = true;
  writer_.WriteFiles(frame, record, files);
  lacks_files_ = false;
  const DirtyStatusResultData& result = record.outcome.result;
  if (!result.success) {
    Fail(frame, result.message);
    return;
  }
  ++done_;
  if (has_folder()) PrintLine(FrameLine(frame, step.inputs, step.frames, record, labels_));
}

// A run that is killed leaves a summary that is not much older than its results.
void DetectionRun::KeepSummary() {
  if (clock_() < next_summary_) return;
  writer_.WriteSummary(Reported(), end_);
  next_summary_ = clock_() + kSummarySeconds;
}

void DetectionRun::ShowMessages(const Step& step) {
  const FrameOutcome& outcome = step.record.outcome;
  log_.Show(outcome.lines);
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
  // Before a line of this input says that the last one is done.
  writer_.EndInput();
  if (fails_beyond_lines_) writer_.WriteSummary(Reported(), end_);
  input_ = frame.input;
  input_failed_ = false;
  has_lines_ = false;
  fails_beyond_lines_ = false;
  if (frame.earlier) TakeUp(*frame.earlier);
}

void DetectionRun::EndInput() {
  if (input_) summary_.AddInput(input_failed_);
  input_.reset();
}

// An input of the earlier run.
void DetectionRun::TakeUp(std::size_t index) {
  const EarlierInput& input = earlier_.inputs[index];
  earlier_left_.erase(index);
  writer_.TakeName(*input_, input.name);
  for (const Failure& failure : input.failures) summary_.AddFailure(failure);
  input_failed_ = !input.failures.empty();
  has_lines_ = true;
}

// With what the earlier run has of inputs that this one did not come to yet, or does not have.
Summary DetectionRun::Reported() const {
  Summary summary = summary_;
  for (const std::size_t index : earlier_left_) {
    const EarlierInput& input = earlier_.inputs[index];
    summary.AddInput(!input.failures.empty());
    for (const Failure& failure : input.failures) summary.AddFailure(failure);
  }
  return summary;
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
  summary_ = Reported();
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
