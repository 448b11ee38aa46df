// The `postprocess` mapping of the configuration file.
#pragma once

#include <yaml-cpp/yaml.h>

namespace nuvik::model {

/// The defaults of every key stand here and nowhere else.
struct PostprocessOptions {
  float score_threshold = 0.25F;
  float iou_threshold = 0.7F;
  int max_detections = 300;
  bool class_agnostic = false;
  float mask_threshold = 0.5F;
};

/// Reads the mapping from the file's root; a missing mapping or key takes its default. An unknown
/// key is told on standard error and left alone. Throws std::invalid_argument that names the key,
/// its line, the value and the permitted range.
PostprocessOptions ReadPostprocessOptions(const YAML::Node& root);

}  // namespace nuvik::model
