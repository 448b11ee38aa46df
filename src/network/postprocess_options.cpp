#include "network/postprocess_options.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <variant>

namespace nuvik::model {
namespace {

std::string ValueText(const YAML::Node& node) {
  if (node.IsScalar()) return "'" + node.Scalar() + "'";
  if (node.IsSequence()) return node.size() == 0 ? "an empty sequence" : "a sequence";
  return node.IsMap() ? "a mapping" : "nothing";
}

template <typename Value>
std::string Text(Value value) {
  std::ostringstream text;
  text << std::boolalpha << value;
  return text.str();
}

template <typename Value>
PostprocessKey MakeKey(const char* name, const std::string& expected,
                       Value PostprocessOptions::*member, const char* meaning) {
  return {name, expected, Text(PostprocessOptions{}.*member), meaning, member, ""};
}

// One that is left out by default.
template <typename Value>
PostprocessKey MakeOptionalKey(const char* name, const char* expected, const char* example,
                               Value PostprocessOptions::*member, const char* meaning) {
  return {name, std::string(expected) + ", as " + example, "", meaning, member, example};
}

// What a key permits, by its type.
constexpr const char* kFraction = "a number from 0 to 1";
bool IsPermitted(float value) { return value >= 0.0F && value <= 1.0F; }
std::string Count() { return "an integer from 1 to " + std::to_string(kMaxDetections); }
bool IsPermitted(int value) { return value >= 1 && value <= kMaxDetections; }
constexpr const char* kSwitch = "true or false";
bool IsPermitted(bool /*value*/) { return true; }
constexpr const char* kClassId = "a class id, an integer from 0";

bool ReadClassId(const YAML::Node& node, int& id) {
  return node.IsScalar() && YAML::convert<int>::decode(node, id) && id >= 0;
}

std::vector<PostprocessKey> MakeKeys() {
  using Options = PostprocessOptions;
  return {
      MakeKey("score_threshold", kFraction, &Options::score_threshold,
              "keep a candidate when its best class score is greater"),
      MakeKey("iou_threshold", kFraction, &Options::iou_threshold,
              "drop a box that overlaps a better one of its class by more"),
      MakeKey("max_detections", Count(), &Options::max_detections, "per patch, best first"),
      MakeKey("class_agnostic", kSwitch, &Options::class_agnostic,
              "true: boxes suppress each other across classes"),
      MakeKey("mask_threshold", kFraction, &Options::mask_threshold,
              "a pixel is mask when its probability is greater"),
      MakeOptionalKey("score_thresholds", "a mapping of class ids to numbers from 0 to 1",
                      "{3: 0.4}", &Options::score_thresholds,
                      "over score_threshold, for candidates of these classes"),
      MakeOptionalKey("classes", "a sequence of class ids", "[0, 3]", &Options::classes,
                      "keep candidates of these classes only"),
  };
}

bool IsKnown(const std::string& name) {
  const std::vector<PostprocessKey>& keys = PostprocessKeys();
  return std::any_of(keys.begin(), keys.end(),
                     [&name](const PostprocessKey& key) { return key.name == name; });
}

// Reads key by key, and notes what is wrong.
class OptionsReader {
 public:
  OptionsReader(const YAML::Node& mapping, std::vector<PostprocessProblem>& problems)
      : mapping_(mapping), problems_(problems) {}

  // Replaces the key's member of `options` when the mapping has a permitted value.
  void Read(const PostprocessKey& key, PostprocessOptions& options) {
    const YAML::Node node = mapping_[key.name];
    if (!node.IsDefined()) return;
    std::visit([&](const auto member) { ReadValue(key, node, options.*member); }, key.member);
  }

  void NoteUnknownKeys() {
    for (const auto& entry : mapping_) {
      const std::string name = entry.first.IsScalar() ? entry.first.Scalar() : "?";
      if (IsKnown(name)) continue;
      problems_.push_back(
          {"postprocess." + name, entry.first.Mark(), "is not a known key and has no effect", ""});
    }
  }

 private:
  void Note(const std::string& name, const YAML::Node& node, const std::string& expected) {
    problems_.push_back({"postprocess." + name, node.Mark(), "is " + ValueText(node), expected});
  }

  template <typename Value>
  void ReadValue(const PostprocessKey& key, const YAML::Node& node, Value& value) {
    if (!ReadPermitted(node, value)) Note(key.name, node, key.expected);
  }

  // Of a repeated class the first threshold counts, as of any repeated key.
  void ReadValue(const PostprocessKey& key, const YAML::Node& node, std::map<int, float>& value) {
    if (!node.IsMap()) return Note(key.name, node, key.expected);
    const std::size_t problems = problems_.size();
    std::map<int, float> read;
    for (const auto& entry : node) {
      int id = 0;
      float threshold = 0.0F;
      if (!ReadClassId(entry.first, id)) {
        problems_.push_back({"postprocess." + key.name, entry.first.Mark(),
                             "has the key " + ValueText(entry.first), kClassId});
      } else if (!ReadPermitted(entry.second, threshold)) {
        Note(key.name + "." + std::to_string(id), entry.second, kFraction);
      } else {
        read.emplace(id, threshold);
      }
    }
    if (problems_.size() == problems) value = std::move(read);
  }

  void ReadValue(const PostprocessKey& key, const YAML::Node& node, std::vector<int>& value) {
    if (!node.IsSequence() || node.size() == 0) return Note(key.name, node, key.expected);
    const std::size_t problems = problems_.size();
    std::vector<int> read(node.size());
    for (std::size_t i = 0; i < read.size(); ++i) {
      if (ReadClassId(node[i], read[i])) continue;
      Note(key.name + "[" + std::to_string(i) + "]", node[i], kClassId);
    }
    if (problems_.size() == problems) value = std::move(read);
  }

  // Not-a-number is not permitted.
  template <typename Value>
  static bool ReadPermitted(const YAML::Node& node, Value& value) {
    Value read{};
    if (!node.IsScalar() || !YAML::convert<Value>::decode(node, read) || !IsPermitted(read)) {
      return false;
    }
    value = read;
    return true;
  }

  const YAML::Node mapping_;  // a node that may be written grows by what it is asked for
  std::vector<PostprocessProblem>& problems_;
};

}  // namespace

const std::vector<PostprocessKey>& PostprocessKeys() {
  static const std::vector<PostprocessKey> keys = MakeKeys();
  return keys;
}

PostprocessOptions ReadPostprocessOptions(const YAML::Node& root,
                                          std::vector<PostprocessProblem>& problems) {
  PostprocessOptions options;
  if (!root.IsMap()) return options;
  const YAML::Node mapping = root["postprocess"];
  if (!mapping.IsDefined() || mapping.IsNull()) return options;
  if (!mapping.IsMap()) {
    problems.push_back({"postprocess", mapping.Mark(), "is " + ValueText(mapping), "a mapping"});
    return options;
  }
  OptionsReader reader(mapping, problems);
  for (const PostprocessKey& key : PostprocessKeys()) reader.Read(key, options);
  reader.NoteUnknownKeys();
  return options;
}

}  // namespace nuvik::model
