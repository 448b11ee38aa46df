#include "host/summary.h"

#include <algorithm>
#include <set>
#include <utility>

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

ordered_json DistributionToJson(const Distribution& times) {
  return {{"mean", RoundToMicrosecond(times.mean)},
          {"p50", RoundToMicrosecond(times.p50)},
          {"p95", RoundToMicrosecond(times.p95)},
          {"p99", RoundToMicrosecond(times.p99)},
          {"worst", RoundToMicrosecond(times.worst)}};
}

std::size_t CountConfirmed(const std::vector<FeceCandidate>& candidates) {
  return static_cast<std::size_t>(std::count_if(
      candidates.begin(), candidates.end(),
      [](const FeceCandidate& candidate) { return candidate.verdict == FeceVerdict::kConfirmed; }));
}

}  // namespace

void Summary::AddInput(bool failed) {
  ++inputs_;
  if (failed) ++failed_;
}

void Summary::AddFrame(const FrameRecord& record) {
  ++frames_;
  if (!record.outcome.result.success) return;
  for (const int label : record.outcome.result.labels) ++detections_[label];
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

Distribution Summary::TimesOf(const std::string& stage) const {
  const auto times = times_.find(stage);
  return times == times_.end() ? Distribution{} : Summarise(times->second);
}

ordered_json Summary::ToJson(const Labels& labels, bool interrupted) const {
  ordered_json json;
  json["schema_version"] = kSchemaVersion;
  json["program"] = description_.program;
  json["model"] = description_.model;
  json["config"] = description_.config;
  if (!description_.fece_model.empty()) json["fece_model"] = description_.fece_model;
  json["inputs"] = inputs_;
  json["frames"] = frames_;
  json["failed"] = failed_;
  json["interrupted"] = interrupted;
  json["detections"] = ordered_json::object();
  std::set<int> present;
  for (const auto& [label, count] : detections_) {
    json["detections"][std::to_string(label)] = count;
    present.insert(label);
  }
  if (!description_.fece_model.empty() && is_confirmed_known_) {
    json["confirmed_faeces"] = confirmed_;
  }
  json["label_names"] = LabelNamesToJson(present, labels);
  json["timing_ms"] = ordered_json::object();
  for (const std::string& stage : stages_) {
    json["timing_ms"][stage] = DistributionToJson(TimesOf(stage));
  }
  return json;
}

}  // namespace dirty_seg
