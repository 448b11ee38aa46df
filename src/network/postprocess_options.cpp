#include "network/postprocess_options.h"

#include <algorithm>
#include <sstream>

namespace nuvik::model {
namespace {

constexpr int kMaxDetections = 100000;

std::string ValueText(const YAML::Node& node) {
  if (node.IsScalar()) return "'" + node.Scalar() + "'";
  if (node.IsSequence()) return "a sequence";
  return node.IsMap() ? "a mapping" : "nothing";
}

template <typename Value>
std::string Text(Value value) {
  std::ostringstream text;
  text << std::boolalpha << value;
  return text.str();
}

std::vector<PostprocessKey> MakeKeys() {
  const std::string fraction = "a number from 0 to 1";
  const PostprocessOptions fallback;
  return {
      {"score_threshold", fraction, Text(fallback.score_threshold),
       "keep a candidate when its best class score is greater"},
      {"iou_threshold", fraction, Text(fallback.iou_threshold),
       "drop a box that overlaps a better one of its class by more"},
      {"max_detections", "an integer from 1 to " + std::to_string(kMaxDetections),
       Text(fallback.max_detections), "per patch, best first"},
      {"class_agnostic", "true or false", Text(fallback.class_agnostic),
       "true: boxes suppress each other across classes"},
      {"mask_threshold", fraction, Text(fallback.mask_threshold),
       "a pixel is mask when its probability is greater"},
  };
}

const PostprocessKey* FindKey(const std::string& name) {
  const std::vector<PostprocessKey>& keys = PostprocessKeys();
  const auto key = std::find_if(keys.begin(), keys.end(), [&name](const PostprocessKey& known) {
    return known.name == name;
  });
  return key == keys.end() ? nullptr : &*key;
}

// Reads key by key, and notes what is wrong.
class OptionsReader {
 public:
  OptionsReader(const YAML::Node& mapping, std::vector<PostprocessProblem>& problems)
      : mapping_(mapping), problems_(problems) {}

  // Replaces `value` by the key's when the mapping has a permitted one. `is_permitted` is false for
  // not-a-number.
  template <typename Value, typename IsPermitted>
  void Read(const std::string& name, IsPermitted is_permitted, Value& value) {
    const YAML::Node node = mapping_[name];
    if (!node.IsDefined()) return;
    Value read{};
    if (node.IsScalar() && YAML::convert<Value>::decode(node, read) && is_permitted(read)) {
      value = read;
      return;
    }
    problems_.push_back(
        {"postprocess." + name, node.Mark(), "is " + ValueText(node), FindKey(name)->expected});
  }

  void ReadFraction(const std::string& name, float& value) {
    Read(
        name, [](float read) { return read >= 0.0F && read <= 1.0F; }, value);
  }

  void NoteUnknownKeys() {
    for (const auto& entry : mapping_) {
      const std::string name = entry.first.IsScalar() ? entry.first.Scalar() : "?";
      if (FindKey(name) != nullptr) continue;
      problems_.push_back(
          {"postprocess." + name, entry.first.Mark(), "is not a known key and has no effect", ""});
    }
  }

 private:
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
  reader.ReadFraction("score_threshold", options.score_threshold);
  reader.ReadFraction("iou_threshold", options.iou_threshold);
  reader.Read(
      "max_detections", [](int read) { return read >= 1 && read <= kMaxDetections; },
      options.max_detections);
  reader.Read(
      "class_agnostic", [](bool) { return true; }, options.class_agnostic);
  reader.ReadFraction("mask_threshold", options.mask_threshold);
  reader.NoteUnknownKeys();
  return options;
}

}  // namespace nuvik::model
