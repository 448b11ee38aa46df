#include "engine/postprocess_options.h"

#include <array>
#include <stdexcept>
#include <string>

#include "engine/diagnostics.h"

namespace nuvik::model {
namespace {

constexpr int kMostDetections = 100000;

std::string Place(const YAML::Node& node) {
  const YAML::Mark mark = node.Mark();
  return mark.is_null() ? "" : " in line " + std::to_string(mark.line + 1);
}

std::string ValueText(const YAML::Node& node) {
  if (node.IsScalar()) return "'" + node.Scalar() + "'";
  if (node.IsSequence()) return "a sequence";
  return node.IsMap() ? "a mapping" : "nothing";
}

[[noreturn]] void Reject(const std::string& key, const YAML::Node& value,
                         const std::string& expected) {
  throw std::invalid_argument(key + Place(value) + " is " + ValueText(value) + "; expected " +
                              expected);
}

// Replaces `value` by the key's when the mapping has it. `is_permitted` is false for not-a-number.
template <typename Value, typename IsPermitted>
void ReadKey(const YAML::Node& mapping, const std::string& key, const std::string& expected,
             IsPermitted is_permitted, Value& value) {
  const YAML::Node node = mapping[key];
  if (!node.IsDefined()) return;
  Value read{};
  if (!node.IsScalar() || !YAML::convert<Value>::decode(node, read) || !is_permitted(read)) {
    Reject("postprocess." + key, node, expected);
  }
  value = read;
}

void ReadFraction(const YAML::Node& mapping, const std::string& key, float& value) {
  ReadKey(
      mapping, key, "a number from 0 to 1", [](float read) { return read >= 0.0F && read <= 1.0F; },
      value);
}

void TellUnknownKeys(const YAML::Node& mapping) {
  constexpr std::array<const char*, 5> kKeys{"score_threshold", "iou_threshold", "max_detections",
                                             "class_agnostic", "mask_threshold"};
  for (const auto& entry : mapping) {
    const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "?";
    bool is_known = false;
    for (const char* known : kKeys) is_known = is_known || key == known;
    if (!is_known) {
      PrintError("postprocess." + key + Place(entry.first) + " is no known key and has no effect");
    }
  }
}

}  // namespace

PostprocessOptions ReadPostprocessOptions(const YAML::Node& root) {
  PostprocessOptions options;
  if (!root.IsMap()) return options;
  const YAML::Node mapping = root["postprocess"];
  if (!mapping.IsDefined() || mapping.IsNull()) return options;
  if (!mapping.IsMap()) Reject("postprocess", mapping, "a mapping");
  ReadFraction(mapping, "score_threshold", options.score_threshold);
  ReadFraction(mapping, "iou_threshold", options.iou_threshold);
  ReadKey(
      mapping, "max_detections", "an integer from 1 to " + std::to_string(kMostDetections),
      [](int read) { return read >= 1 && read <= kMostDetections; }, options.max_detections);
  ReadKey(
      mapping, "class_agnostic", "true or false", [](bool) { return true; },
      options.class_agnostic);
  ReadFraction(mapping, "mask_threshold", options.mask_threshold);
  TellUnknownKeys(mapping);
  return options;
}

}  // namespace nuvik::model
