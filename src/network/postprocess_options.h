// The `postprocess` mapping of the configuration file.
#pragma once

#include <yaml-cpp/yaml.h>

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace nuvik::model {

/// The most that `max_detections` permits.
inline constexpr int kMaxDetections = 100000;

/// The defaults of every key are here and nowhere else.
struct PostprocessOptions {
  float score_threshold = 0.25F;
  float iou_threshold = 0.7F;
  int max_detections = 300;
  bool class_agnostic = false;
  float mask_threshold = 0.5F;
  /// Class id to its own threshold, over `score_threshold`.
  std::map<int, float> score_thresholds;
  /// The class ids that are looked for; empty: every class.
  std::vector<int> classes;
};

/// A key of the mapping, in words.
struct PostprocessKey {
  std::string name;
  /// What is permitted: "a number from 0 to 1".
  std::string expected;
  /// The default as the file would have it; empty where the default is to leave the key out.
  std::string fallback;
  std::string meaning;
  /// Where the value goes.
  std::variant<float PostprocessOptions::*, int PostprocessOptions::*, bool PostprocessOptions::*,
               std::map<int, float> PostprocessOptions::*, std::vector<int> PostprocessOptions::*>
      member{};
  /// A value for a key without a `fallback`.
  std::string example{};
};

/// Every key, in the order of the members above.
const std::vector<PostprocessKey>& PostprocessKeys();

struct PostprocessProblem {
  /// "postprocess.iou_threshold", and the place of what is wrong.
  std::string key;
  YAML::Mark mark;
  /// What is wrong: "is '2'".
  std::string text;
  /// What is permitted: "a number from 0 to 1". Empty for an unknown key, which has no effect; any
  /// other problem is a value that is not permitted.
  std::string expected;
};

/// Reads the mapping from the file's root; a missing mapping or key takes its default, and so does
/// a value that is not permitted. Appends every problem, unknown keys last.
PostprocessOptions ReadPostprocessOptions(const YAML::Node& root,
                                          std::vector<PostprocessProblem>& problems);

}  // namespace nuvik::model
