#include "detector/frame_detector.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "base/errors.h"
#include "base/stopwatch.h"
#include "base/text.h"
#include "console/engine_text.h"
#include "engine/decoded_objects.h"
#include "engine/non_finite.h"

namespace dirty_seg {
namespace {

std::string ErrorText(const FrameLog& log) {
  if (log.errors.empty()) return "the detector failed without a message";
  return Join(log.errors, "; ");
}

}  // namespace

FrameOutcome Failed(std::string cause) {
  FrameOutcome outcome;
  outcome.result.success = false;
  outcome.result.message = std::move(cause);
  return outcome;
}

std::vector<Kind> KindsOf(const std::vector<int>& found,
                          const std::optional<std::vector<FeceCandidate>>& candidates,
                          const Labels& labels) {
  std::vector<Kind> kinds;
  kinds.reserve(found.size());
  for (const int label : found) {
    kinds.push_back({label, !candidates && labels.IsConfirmedFaeces(label)});
  }
  if (!candidates) return kinds;
  for (const FeceCandidate& candidate : *candidates) {
    kinds.at(candidate.detection).is_confirmed = candidate.verdict == FeceVerdict::kConfirmed;
  }
  return kinds;
}

std::vector<Kind> KindsOf(const FrameOutcome& outcome, const Labels& labels) {
  return KindsOf(outcome.result.labels, outcome.fece_candidates, labels);
}

std::optional<FeceRules> FeceRulesOf(const DirtySegDetectorConfig& config) {
  if (!config.fece_enable) return std::nullopt;
  return FeceRules{config.fece_class_ids, config.fece_score_threshold, config.fece_area_threshold};
}

std::string NonFiniteText(const std::map<std::string, std::int64_t>& counts) {
  const auto text_of = [](const auto& entry) {
    return fmt::format("{} in '{}'", entry.second, entry.first);
  };
  return fmt::format(
      "the network gave numbers that are not finite ({}): they are left out, so dirt may be missed",
      JoinEach(counts, text_of));
}

void SeparateClassifier(const nuvik::alg::common::RunTime& runs, StageTimes& stages) {
  if (!stages.inference || !stages.convert) return;
  // Held within `convert`: the log's times are by another clock, which may be set meanwhile.
  const double all_but_the_first = runs.milliseconds - *stages.inference;
  stages.classify = runs.runs > 1 ? std::max(0.0, std::min(all_but_the_first, *stages.convert)) : 0;
  *stages.convert -= *stages.classify;
}

void InitDetector(const DirtySegDetectorConfig& config,
                  nuvik::perception::dirty_seg_detector::DirtySegDetector& detector,
                  CallRecorder& recorder, const std::string& config_name) {
  const std::string files =
      fmt::format("'{}' with '{}': ", config.dirty_seg_model_config.model_path,
                  config_name.empty() ? config.yaml_config_path : config_name);
  bool is_loaded = false;
  std::string fault;
  CallLines lines = recorder.Record([&] {
    try {
      is_loaded = detector.Init(config);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& exception) {
      fault = OneLine(exception.what());
    }
  });
  const bool is_refused = !is_loaded && fault.empty();
  const std::string cause = is_refused ? EngineText(lines.errors) : "";
  if (is_refused) lines.errors.clear();  // they go with the exception
  recorder.Show(lines);
  if (is_refused) throw NetworkError(files + "the engine could not load the networks", cause);
  if (!fault.empty()) throw SetupError(files + fault);
}

FrameDetector::FrameDetector(const DirtySegDetectorConfig& config, CallRecorder& recorder,
                             std::optional<std::vector<cv::Rect>> patches,
                             const std::string& config_name)
    : recorder_(recorder), fece_rules_(FeceRulesOf(config)), patches_(std::move(patches)) {
  InitDetector(config, detector_, recorder, config_name);
}

FrameOutcome FrameDetector::Detect(const std::shared_ptr<cv::Mat>& picture) {
  std::shared_ptr<DirtyStatusResultData> result;
  std::string exception_text;
  std::optional<nuvik::model::DecodedObjects> decoded;
  if (patches_) decoded.emplace();
  nuvik::model::TakeNonFiniteCounts();  // of another frame that failed after the decoder
  nuvik::alg::common::TakeRunTime();    // of whatever else ran on this thread
  FrameOutcome outcome;
  outcome.lines = recorder_.Record([&] {
    const Stopwatch watch;
    try {
      if (!detector_.DoInference({{"color", picture}}, result)) result = nullptr;
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& exception) {
      result = nullptr;
      exception_text = OneLine(exception.what());
    }
    outcome.total_ms = watch.Milliseconds();
  });
  outcome.non_finite = nuvik::model::TakeNonFiniteCounts();
  const nuvik::alg::common::RunTime runs = nuvik::alg::common::TakeRunTime();
  FrameLog log = ReadFrameLog(outcome.lines.log);
  outcome.stages = log.times;
  if (fece_rules_) SeparateClassifier(runs, outcome.stages);
  if (result == nullptr) {
    outcome.result = Failed(exception_text.empty() ? ErrorText(log) : exception_text).result;
  } else {
    outcome.result = std::move(*result);
    if (decoded) outcome.parts = PartsOf(decoded->Take(), *patches_);
    if (fece_rules_) {
      outcome.fece_candidates =
          ReadFeceCandidates(log, *fece_rules_, picture->size(), outcome.result);
    }
    outcome.complaints = std::move(log.errors);
    if (fece_rules_ && !outcome.fece_candidates) {
      outcome.complaints.emplace_back("the classifier's verdicts cannot be read from the log");
    }
    if (const std::size_t count = CountNotANumberAnswers(log); count > 0) {
      outcome.complaints.push_back("the classifier's answer is not a number for " +
                                   Counted(count, "candidate"));
    }
  }
  return outcome;
}

}  // namespace dirty_seg
