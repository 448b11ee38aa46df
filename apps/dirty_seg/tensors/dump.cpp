#include "tensors/dump.h"

#include <fmt/format.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <utility>

#include "base/geometry_json.h"
#include "config/postprocess_json.h"
#include "detector/frame_detector.h"
#include "files/earlier_run.h"
#include "files/json_text.h"
#include "files/name_text.h"
#include "files/output_file.h"
#include "files/result_names.h"
#include "geometry/letterbox.h"
#include "network/tensor.h"
#include "results/frame_record.h"
#include "tensors/npy.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;
using nuvik::alg::common::AIBuff;

constexpr int kDumpSchemaVersion = 1;
constexpr const char* kDumpFile = "dump.json";

// A file name that no other tensor has.
std::string FileName(const std::string& role, const std::string& name,
                     std::set<std::string>& taken) {
  std::string stem = role + "_";
  for (const char c : name) {
    const bool is_plain =
        std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr("._-", c) != nullptr;
    stem += is_plain && c != '\0' ? c : '_';
  }
  std::string file = stem + ".npy";
  for (int number = 2; !taken.insert(file).second; ++number) {
    file = fmt::format("{}-{}.npy", stem, number);
  }
  return file;
}

// Writes the tensors and lists them.
class TensorWriter {
 public:
  explicit TensorWriter(std::string folder) : folder_(std::move(folder)) {}

  void Write(const char* role, const std::string& name, const NpyArray& array) {
    const std::string file = FileName(role, name, taken_);
    WriteNpy((fs::path(folder_) / file).string(), array);
    list_.push_back({{"file", file},
                     {"role", role},
                     {"name", name},
                     {"type", nuvik::alg::common::TypeName(array.type)},
                     {"shape", array.shape}});
  }

  void Write(const char* role, const std::map<std::string, AIBuff>& buffers) {
    for (const auto& [name, buffer] : buffers) {
      Write(role, name, {buffer.data_type, buffer.shape, *buffer.data});
    }
  }

  void WriteMask(int label, const cv::Mat& mask) {
    NpyArray array{nuvik::alg::common::kAIUint8, {mask.rows, mask.cols}, {}};
    for (int y = 0; y < mask.rows; ++y) {
      array.bytes.insert(array.bytes.end(), mask.ptr(y), mask.ptr(y) + mask.cols);
    }
    Write("mask", std::to_string(label), array);
  }

  const ordered_json& list() const { return list_; }

 private:
  std::string folder_;
  std::set<std::string> taken_;
  ordered_json list_ = ordered_json::array();
};

ordered_json SlotsToJson(const std::vector<cv::Rect>& patches, int side) {
  ordered_json list = ordered_json::array();
  for (const PatchSlot& slot : FindSlots(patches, side)) {
    const cv::Size padded = slot.letterbox.Padded();
    // The detector packs the crops one after the other, each with its own length.
    const std::int64_t first = static_cast<std::int64_t>(list.size()) * 3 * padded.area();
    list.push_back(
        {{"slot", list.size()},
         {"patch", slot.patch},
         {"rectangle", RectToJson(patches[slot.patch])},
         {"crop", RectToJson(slot.crop)},
         {"scaled", SizeToJson(slot.letterbox.scaled)},
         {"border", {slot.letterbox.border.top_and_bottom, slot.letterbox.border.left_and_right}},
         {"padded", SizeToJson(padded)},
         {"first_element", first},
         {"fills_slot", padded == cv::Size(side, side)}});
  }
  return list;
}

ordered_json ClassifierToJson(const DetectorOptions& options) {
  ordered_json json;
  PutName("model", options.fece_model, json);
  json["class_ids"] = options.fece_class_ids;
  json["score_threshold"] = options.fece_score_threshold;
  json["area_threshold"] = options.fece_area_threshold;
  return json;
}

ordered_json DetectionsToJson(const StagedFrame& frame, const Labels& labels) {
  const DirtyStatusResultData& result = frame.result;
  const std::vector<Kind> kinds = KindsOf(result.labels, frame.fece_candidates, labels);
  ordered_json list = ordered_json::array();
  for (std::size_t i = 0; i < result.bboxes.size(); ++i) {
    list.push_back({{"bbox", result.bboxes[i]},
                    {"score", result.scores[i]},
                    {"label", result.labels[i]},
                    {"name", labels.Text(kinds[i])}});
  }
  return list;
}

// Whether FileName could have made this name.
bool IsNameOfATensor(const std::string& name) {
  static const std::regex kName(R"((input|output|mask)_[\w.-]*\.npy)");
  return name.size() <= kMaxFileName && std::regex_match(name, kName);
}

// The tensors that an earlier dump in the folder names, and that dump itself.
void RemoveEarlierDump(const fs::path& folder) {
  const fs::path dump = folder / kDumpFile;
  std::vector<fs::path> files;
  const auto root = nlohmann::json::parse(std::ifstream(dump, std::ios::binary), nullptr, false);
  if (!root.is_object()) return;
  for (const auto& tensor : root.value("tensors", nlohmann::json::array())) {
    if (!tensor.is_object() || !tensor.contains("file") || !tensor["file"].is_string()) continue;
    const auto name = tensor["file"].get<std::string>();
    if (IsNameOfATensor(name)) files.push_back(folder / name);
  }
  files.push_back(dump);
  for (const fs::path& file : files) RemovePlainFile(file);
}

}  // namespace

void WriteDump(const std::string& folder, const DumpOrigin& origin, const DetectorOptions& options,
               const DetectorSetup& setup, const StagedFrame& frame) {
  WholeFile file((fs::path(folder) / kDumpFile).string());  // others are kept out from here on
  RemoveEarlierDump(folder);
  TensorWriter writer(folder);
  writer.Write("input", frame.inputs);
  writer.Write("output", frame.outputs);
  for (const auto& [label, mask] : frame.result.label_masks) writer.WriteMask(label, mask);

  const auto side = static_cast<int>(frame.inputs.begin()->second.shape.at(3));
  ordered_json json;
  json["schema_version"] = kDumpSchemaVersion;
  json["program"] = origin.program;
  PutName("source", origin.source, json);
  json["frame"] = origin.frame;
  json["image_size"] = SizeToJson(origin.fit.picture);
  json["fit"] = FitToJson(origin.fit);
  PutName("model", options.model, json);
  PutName("config", options.config, json);
  json["postprocess"] = PostprocessToJson(setup.file->options());
  if (!options.fece_model.empty()) json["classifier"] = ClassifierToJson(options);
  json["tensors"] = writer.list();
  json["preprocess"] = {{"planes", {"red", "green", "blue"}},
                        {"divisor", 255},
                        {"interpolation", "nearest"},
                        {"border_value", nuvik::geometry::kGrey}};
  json["slots"] = SlotsToJson(setup.patches, side);
  json["detections"] = DetectionsToJson(frame, setup.labels);
  file.Write(ToIndentedText(json));
  file.Keep();
}

}  // namespace dirty_seg
