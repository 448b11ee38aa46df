// Options of a detector, as the user gives them.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace dirty_seg {

/// What takes the place of the configuration file's.
struct Thresholds {
  std::optional<float> score;
  std::optional<float> iou;
  std::optional<int> max_detections;
  std::optional<float> mask;
  std::vector<int> classes;  // empty: the file's

  bool empty() const { return !score && !iou && !max_detections && !mask && classes.empty(); }
};

/// Networks, patches and thresholds of one detector.
struct DetectorOptions {
  std::string model;
  /// The configuration's file, or where it is a text, what messages call it.
  std::string config;
  std::optional<std::string> config_text;
  Thresholds thresholds;
  std::string names;       // file of class names; empty: those of the network
  std::string fece_model;  // empty: no classifier
  std::vector<int> fece_class_ids;
  float fece_score_threshold = 0.5F;
  float fece_area_threshold = 400.0F;
  int threads = 0;  // 0: all cores
};

}  // namespace dirty_seg
