#include "results/summary.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "config/postprocess_json.h"
#include "files/name_text.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

Distribution Rounded(Distribution times) {
  for (double* const time : {&times.mean, &times.p50, &times.p95, &times.p99, &times.worst}) {
    *time = RoundToMicrosecond(*time);
  }
  return times;
}

std::size_t CountConfirmed(const std::vector<FeceCandidate>& candidates) {
  return static_cast<std::size_t>(std::count_if(
      candidates.begin(), candidates.end(),
      [](const FeceCandidate& candidate) { return candidate.verdict == FeceVerdict::kConfirmed; }));
}

ordered_json CountsToJson(const std::map<int, std::size_t>& counts) {
  ordered_json json = ordered_json::object();
  for (const auto& [label, count] : counts) json[std::to_string(label)] = count;
  return json;
}

ordered_json FailuresToJson(const std::vector<Failure>& failures) {
  ordered_json json = ordered_json::array();
  for (const Failure& failure : failures) {
    ordered_json& entry = json.emplace_back();
    PutName("source", failure.source, entry);
    if (failure.frame) entry["frame"] = *failure.frame;
    entry["cause"] = failure.cause;
  }
  return json;
}

}  // namespace

ordered_json DescriptionToJson(const RunDescription& description) {
  ordered_json json;
  json["program"] = description.program;
  PutName("model", description.model, json);
  PutName("config", description.config, json);
  if (!description.fece_model.empty()) PutName("fece_model", description.fece_model, json);
  json["checksums"] = description.checksums;
  json["options"] = description.options;
  json["thresholds"] = PostprocessToJson(description.thresholds);
  return json;
}

void Summary::AddInput(bool failed) {
  ++inputs_;
  if (failed) ++failed_;
}

void Summary::AddFrame(const FrameRecord& record) {
  ++frames_;
  if (!record.outcome.non_finite.empty()) ++non_finite_frames_;
  if (!record.outcome.result.success) return;
  for (const int label : record.outcome.result.labels) ++detections_[label];
  if (record.things) CountThings(*record.things);
  if (record.outcome.fece_candidates) {
    confirmed_ += CountConfirmed(*record.outcome.fece_candidates);
  } else {
    is_confirmed_known_ = false;
  }
  for (const auto& [stage, time] : StageTimesOf(record)) {
    std::vector<double>& times = times_[stage];
    if (times.empty()) stages_.push_back(stage);
    times.push_back(time);
  }
}

void Summary::CountThings(const std::vector<Thing>& things) {
  if (!things_) things_.emplace();
  for (const Thing& thing : things) {
    ++(*things_)[thing.kind.label];
    if (thing.kind.is_confirmed) ++confirmed_things_;
  }
}

Distribution Summary::TimesOf(const std::string& stage) const {
  const auto times = times_.find(stage);
  return times == times_.end() ? Distribution{} : Summarise(times->second);
}

ordered_json Summary::ToJson(const Labels& labels, const RunEnd& end) const {
  ordered_json json;
  json["schema_version"] = kSchemaVersion;
  json.update(DescriptionToJson(description_));
  json["inputs"] = inputs_;
  if (end.inputs) json["inputs_total"] = *end.inputs;
  json["frames"] = frames_;
  json["failed"] = failed_;
  json["failures"] = FailuresToJson(failures_);
  json["non_finite_frames"] = non_finite_frames_;
  json["interrupted"] = end.interrupted;
  json["complete"] = end.complete;
  if (!end.write_error.empty()) json["write_error"] = end.write_error;
  json["detections"] = CountsToJson(detections_);
  const bool has_confirmed = !description_.fece_model.empty() && is_confirmed_known_;
  if (has_confirmed) json["confirmed_faeces"] = confirmed_;
  if (things_) {
    json["things"] = CountsToJson(*things_);
    if (has_confirmed) json["confirmed_things"] = confirmed_things_;
  }
  std::set<int> present;
  for (const auto& [label, count] : detections_) present.insert(label);
  json["label_names"] = LabelNamesToJson(present, labels);
  json["timing_ms"] = ordered_json::object();
  for (const std::string& stage : stages_) {
    json["timing_ms"][stage] = DistributionToJson(Rounded(TimesOf(stage)));
  }
  return json;
}

}  // namespace dirty_seg
