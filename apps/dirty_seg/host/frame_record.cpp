#include "host/frame_record.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

ordered_json MasksToJson(const std::map<int, MaskRecord>& masks) {
  ordered_json json = ordered_json::object();
  for (const auto& [label, mask] : masks) {
    ordered_json& entry = json[std::to_string(label)];
    if (!mask.file.empty()) entry["file"] = mask.file;
    entry["pixels"] = mask.pixels;
    entry["rle"]["size"] = {mask.run_lengths.height, mask.run_lengths.width};
    entry["rle"]["counts"] = mask.run_lengths.counts;
  }
  return json;
}

ordered_json NamesToJson(const std::vector<int>& present, const Labels& labels) {
  ordered_json json = ordered_json::object();
  for (const int label : std::set<int>(present.begin(), present.end())) {
    if (const std::string* name = labels.FindName(label)) json[std::to_string(label)] = *name;
  }
  return json;
}

void AddTime(const char* stage, std::optional<double> milliseconds, ordered_json& json) {
  if (milliseconds) json[stage] = std::round(*milliseconds * 1000.0) / 1000.0;
}

ordered_json TimesToJson(const FrameRecord& record) {
  const FrameOutcome& outcome = record.outcome;
  ordered_json json = ordered_json::object();
  AddTime("read", record.read_ms, json);
  AddTime("preprocess", PreprocessTime(outcome), json);
  AddTime("inference", outcome.stages.inference, json);
  AddTime("postprocess", outcome.stages.postprocess, json);
  AddTime("convert", outcome.stages.convert, json);
  AddTime("total", outcome.total_ms, json);
  AddTime("write", record.write_ms, json);
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
  const double others = *stages.inference + *stages.postprocess + *stages.convert;
  return std::max(0.0, outcome.total_ms - others);
}

ordered_json ToJson(const FrameRecord& record, const Labels& labels) {
  const DirtyStatusResultData& result = record.outcome.result;
  ordered_json json;
  json["source"] = record.source;
  json["frame"] = record.frame;
  json["success"] = result.success;
  json["message"] = result.message;
  json["bboxes"] = result.bboxes;
  json["scores"] = result.scores;
  json["labels"] = result.labels;
  json["mask_pixel_counts"] = result.mask_pixel_counts;
  json["label_masks"] = MasksToJson(record.masks);
  json["label_names"] = NamesToJson(result.labels, labels);
  json["timing_ms"] = TimesToJson(record);
  return json;
}

}  // namespace dirty_seg
