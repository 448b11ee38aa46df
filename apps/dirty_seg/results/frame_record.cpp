#include "results/frame_record.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "base/geometry_json.h"
#include "files/name_text.h"
#include "geometry/letterbox.h"
#include "results/stages.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

ordered_json MasksToJson(const std::map<int, MaskRecord>& masks) {
  ordered_json json = ordered_json::object();
  for (const auto& [label, mask] : masks) {
    ordered_json& entry = json[std::to_string(label)];
    if (!mask.file.empty()) entry["file"] = mask.file;
    entry["pixels"] = mask.pixels;
    entry["rle"] = RunLengthsToJson(mask.run_lengths);
  }
  return json;
}

ordered_json ConfirmedToJson(const FrameOutcome& outcome, const Labels& labels) {
  ordered_json json = ordered_json::array();
  for (const Kind& kind : KindsOf(outcome, labels)) json.push_back(kind.is_confirmed);
  return json;
}

ordered_json CandidatesToJson(const std::vector<FeceCandidate>& candidates) {
  ordered_json json = ordered_json::array();
  for (const FeceCandidate& candidate : candidates) {
    ordered_json entry{{"detection", candidate.detection},
                       {"verdict", VerdictText(candidate.verdict)}};
    if (candidate.score) entry["score"] = *candidate.score;
    json.push_back(std::move(entry));
  }
  return json;
}

ordered_json ThingsToJson(const std::vector<Thing>& things, bool has_classifier) {
  ordered_json json = ordered_json::array();
  for (const Thing& thing : things) {
    ordered_json entry{{"bbox", thing.box}, {"score", thing.score}, {"label", thing.kind.label}};
    if (has_classifier) entry["confirmed"] = thing.kind.is_confirmed;
    entry["pixels"] = thing.pixels();
    entry["members"] = thing.members;
    entry["rle"] = RunLengthsToJson(
        EncodeRunLengths(thing.mask, thing.area.tl(), nuvik::geometry::FrameSize()));
    json.push_back(std::move(entry));
  }
  return json;
}

ordered_json TimesToJson(const FrameRecord& record) {
  ordered_json json = ordered_json::object();
  for (const auto& [stage, time] : StageTimesOf(record)) json[stage] = RoundToMicrosecond(time);
  return json;
}

}  // namespace

std::map<int, MaskRecord> DescribeMasks(const DirtyStatusResultData& result) {
  std::map<int, MaskRecord> masks;
  for (const auto& [label, mask] : result.label_masks) {
    masks[label] = {"", cv::countNonZero(mask), EncodeRunLengths(mask)};
  }
  return masks;
}

std::optional<double> PreprocessTime(const FrameOutcome& outcome) {
  const StageTimes& stages = outcome.stages;
  if (!stages.inference || !stages.postprocess || !stages.convert) return std::nullopt;
  const double others =
      *stages.inference + *stages.postprocess + stages.classify.value_or(0.0) + *stages.convert;
  return std::max(0.0, outcome.total_ms - others);
}

std::vector<std::pair<std::string, double>> DetectorTimesOf(const FrameOutcome& outcome) {
  std::vector<std::pair<std::string, double>> times;
  const auto add = [&times](const char* stage, std::optional<double> time) {
    if (time) times.emplace_back(stage, *time);
  };
  add(kPreprocessStage, PreprocessTime(outcome));
  add(kInferenceStage, outcome.stages.inference);
  add(kPostprocessStage, outcome.stages.postprocess);
  add(kClassifyStage, outcome.stages.classify);
  add(kConvertStage, outcome.stages.convert);
  add(kTotalStage, outcome.total_ms);
  return times;
}

std::vector<std::pair<std::string, double>> StageTimesOf(const FrameRecord& record) {
  std::vector<std::pair<std::string, double>> times = DetectorTimesOf(record.outcome);
  times.insert(times.begin(), {kReadStage, record.read_ms});
  times.emplace_back(kWriteStage, record.write_ms);
  return times;
}

double RoundToMicrosecond(double milliseconds) {
  return std::round(milliseconds * 1000.0) / 1000.0;
}

ordered_json FitToJson(const FrameFit& fit) {
  return {{"scale", fit.scale}, {"size", SizeToJson(fit.placed)}};
}

ordered_json LabelNamesToJson(const std::set<int>& present, const Labels& labels) {
  ordered_json json = ordered_json::object();
  for (const int label : present) {
    if (const std::string* name = labels.FindName(label)) json[std::to_string(label)] = *name;
  }
  return json;
}

ordered_json ToJson(const FrameRecord& record, const Labels& labels) {
  const DirtyStatusResultData& result = record.outcome.result;
  ordered_json json;
  json["schema_version"] = kSchemaVersion;
  PutName("source", record.source, json);
  json["frame"] = record.frame;
  json["image_size"] = SizeToJson(record.fit.picture);
  json["fit"] = FitToJson(record.fit);
  json["success"] = result.success;
  json["message"] = result.message;
  json["bboxes"] = result.bboxes;
  json["scores"] = result.scores;
  json["labels"] = result.labels;
  if (record.outcome.fece_candidates) json["confirmed"] = ConfirmedToJson(record.outcome, labels);
  json["mask_pixel_counts"] = result.mask_pixel_counts;
  if (record.outcome.fece_candidates) {
    json["fece_candidates"] = CandidatesToJson(*record.outcome.fece_candidates);
  }
  if (!record.outcome.non_finite.empty()) json["non_finite"] = record.outcome.non_finite;
  json["label_masks"] = MasksToJson(record.masks);
  json["label_names"] = LabelNamesToJson({result.labels.begin(), result.labels.end()}, labels);
  if (record.things) {
    json["things"] = ThingsToJson(*record.things, record.outcome.fece_candidates.has_value());
  }
  if (!record.overlay.empty()) json["overlay"] = record.overlay;
  json["timing_ms"] = TimesToJson(record);
  return json;
}

}  // namespace dirty_seg
