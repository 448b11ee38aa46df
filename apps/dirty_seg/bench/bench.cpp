#include "bench/bench.h"

#include <algorithm>
#include <memory>
#include <opencv2/core.hpp>
#include <sstream>
#include <utility>

#include "base/errors.h"
#include "bench/peak_memory.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "results/frame_record.h"

namespace dirty_seg {
namespace {

// Runs of the process that measures memory: the second reuses buffers, the third shows that no more
// memory is taken.
constexpr int kMemoryRuns = 3;

// Opens the inputs from the start. `list` outlives the source.
FrameSource Open(const BenchInputs& inputs, std::istream& list) {
  return FrameSource(InputQueue(inputs.arguments, inputs.options, list), inputs.choice);
}

std::shared_ptr<cv::Mat> ReadFirst(const BenchInputs& inputs) {
  std::istringstream list(inputs.list);
  FrameSource source = Open(inputs, list);
  while (const std::optional<Frame> frame = source.NextFrame()) {
    if (frame->picture == nullptr) continue;
    try {
      return PlaceInFrame(frame->picture, FitToFrame(frame->picture->size(), inputs.fit));
    } catch (const InputError&) {
      continue;  // reported when its turn comes
    }
  }
  throw InputError("there is no frame to measure with");
}

class Runner {
 public:
  Runner(const DetectorOptions& options, LogCapture& log)
      : Runner(options, SetUpDetector(options), log) {}

  void CheckReach(const FrameFit& fit) const {
    const std::string fault = FindReachFault(patches_, fit);
    if (!fault.empty()) throw InputError(fault);
  }

  // In force.
  const nuvik::model::PostprocessOptions& thresholds() const { return thresholds_; }

  FrameOutcome Run(const std::shared_ptr<cv::Mat>& picture) {
    SetThreads(threads_);  // the other side may have others
    FrameOutcome outcome = detector_.Detect(picture);
    log_.Show(outcome.lines);
    if (!outcome.result.success) throw InputError(outcome.result.message);
    return outcome;
  }

 private:
  Runner(const DetectorOptions& options, const DetectorSetup& setup, LogCapture& log)
      : threads_(options.threads),
        patches_(setup.patches),
        thresholds_(setup.file->options()),
        log_(log),
        detector_(setup.config, log, std::nullopt, options.config) {}

  int threads_;
  std::vector<cv::Rect> patches_;
  nuvik::model::PostprocessOptions thresholds_;
  LogCapture& log_;
  FrameDetector detector_;
};

void AddTimes(const FrameOutcome& outcome, BenchSide& side) {
  for (const auto& [stage, time] : DetectorTimesOf(outcome)) side.times[stage].push_back(time);
}

class Bench {
 public:
  Bench(const BenchPlan& plan, FitMode fit, LogCapture& log, Progress* progress)
      : plan_(plan), fit_(fit), progress_(progress) {
    for (const DetectorOptions& options : plan.sides) {
      runners_.push_back(std::make_unique<Runner>(options, log));
      result_.sides.push_back({options, runners_.back()->thresholds(), {}, 0, std::nullopt});
    }
  }

  // `left` is the number of frames after this one, if known.
  void Measure(const Frame& frame, std::optional<std::int64_t> left) {
    try {
      PrintDecoderWarning(frame);
      if (!frame.failure.empty()) throw InputError(frame.failure);
      left_ = left;
      const FrameFit fit = FitToFrame(frame.picture->size(), fit_);
      for (const auto& runner : runners_) runner->CheckReach(fit);
      if (!MeasurePicture(PlaceInFrame(frame.picture, fit))) return;
      ++result_.frames;
      if (runners_.size() > 1) result_.differences.Add(difference_);
    } catch (const InputError& error) {
      PrintError(NameOf(frame) + ": " + error.what());
      ++result_.failed;
    }
  }

  BenchResult Take() {
    result_.interrupted = Interruption::Happened();
    return std::move(result_);
  }

 private:
  using Outcomes = std::vector<std::vector<FrameOutcome>>;  // by side

  // Returns whether a round was measured.
  bool MeasurePicture(const std::shared_ptr<cv::Mat>& picture) {
    for (; warmed_up_ < plan_.warmup && !Interruption::Happened(); ++warmed_up_) {
      for (const auto& runner : runners_) runner->Run(picture);
    }
    if (Interruption::Happened()) return false;
    CompareOn(picture);
    // Kept apart until the frame has succeeded: one that fails leaves no times.
    Outcomes outcomes(runners_.size());
    for (int round = 0; round < plan_.rounds && !Interruption::Happened(); ++round) {
      RunRound(picture, outcomes);
      ShowProgress(round + 1 == plan_.rounds);
    }
    for (std::size_t side = 0; side < outcomes.size(); ++side) {
      for (const FrameOutcome& outcome : outcomes[side]) AddTimes(outcome, result_.sides[side]);
      const bool is_finite = outcomes[side].empty() || outcomes[side][0].non_finite.empty();
      if (!is_finite) ++result_.sides[side].non_finite_frames;
    }
    return !outcomes[0].empty();
  }

  void RunRound(const std::shared_ptr<cv::Mat>& picture, Outcomes& outcomes) {
    const bool in_order = turn_++ % 2 == 0;
    for (std::size_t i = 0; i < runners_.size(); ++i) {
      const std::size_t side = in_order ? i : runners_.size() - 1 - i;
      outcomes[side].push_back(runners_[side]->Run(picture));
      // Masks that were kept would make the next run ask the system for memory.
      outcomes[side].back().result = {};
    }
  }

  // Also within a frame, whose rounds can take long.
  void ShowProgress(bool is_frame_done) {
    if (progress_ == nullptr) return;
    const auto before = static_cast<std::int64_t>(result_.frames);
    progress_->Update(before + (is_frame_done ? 1 : 0),
                      left_ ? std::optional(before + 1 + *left_) : std::nullopt);
  }

  // Not measured, since both results must be in memory at once.
  void CompareOn(const std::shared_ptr<cv::Mat>& picture) {
    if (runners_.size() < 2) return;
    const FrameOutcome a = runners_[0]->Run(picture);
    const FrameOutcome b = runners_[1]->Run(picture);
    difference_ = CompareFindings(FindingsOf(a), FindingsOf(b));
  }

  const BenchPlan& plan_;
  FitMode fit_;
  Progress* progress_;
  std::vector<std::unique_ptr<Runner>> runners_;
  int warmed_up_ = 0;
  std::size_t turn_ = 0;
  std::optional<std::int64_t> left_;  // frames after the current one
  FrameDifference difference_;        // of the current frame
  BenchResult result_;
};

}  // namespace

std::vector<std::optional<std::int64_t>> MeasurePeakMemory(const BenchPlan& plan,
                                                           const BenchInputs& inputs) {
  std::vector<std::optional<std::int64_t>> peaks;
  for (const DetectorOptions& options : plan.sides) {
    if (Interruption::Happened()) break;
    peaks.push_back(PeakMemoryOf([&] {
      const std::shared_ptr<cv::Mat> picture = ReadFirst(inputs);
      LogCapture log;
      Runner runner(options, log);
      for (int i = 0; i < kMemoryRuns; ++i) runner.Run(picture);
    }));
  }
  return peaks;
}

BenchResult RunBench(const BenchPlan& plan, const BenchInputs& inputs, LogCapture& log,
                     Progress* progress) {
  std::istringstream list(inputs.list);
  FrameSource source = Open(inputs, list);
  Bench bench(plan, inputs.fit, log, progress);
  while (!Interruption::Happened()) {
    const std::optional<Frame> frame = source.NextFrame();
    if (!frame || Interruption::Happened()) break;
    bench.Measure(*frame, source.FramesLeft());
  }
  return bench.Take();
}

FrameFindings FindingsOf(const FrameOutcome& outcome) {
  const DirtyStatusResultData& result = outcome.result;
  FrameFindings findings{result.success, {}, result.label_masks, {}};
  for (std::size_t i = 0; i < result.bboxes.size(); ++i) {
    Detection detection{{}, result.scores[i], result.labels[i]};
    std::copy_n(result.bboxes[i].begin(), detection.box.size(), detection.box.begin());
    findings.detections.push_back(detection);
  }
  if (!outcome.fece_candidates) return findings;
  for (const FeceCandidate& candidate : *outcome.fece_candidates) {
    findings.verdicts[candidate.detection] = VerdictText(candidate.verdict);
  }
  MarkNative(findings);
  return findings;
}

}  // namespace dirty_seg
