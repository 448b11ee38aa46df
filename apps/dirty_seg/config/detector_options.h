// Options of a detector, as the user gives them.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg {

/// Networks, patches and thresholds of one detector.
struct DetectorOptions {
  std::string model;
  std::string config;
  std::string fece_model;  // empty: no classifier
  std::vector<int> fece_class_ids;
  float fece_score_threshold = 0.5F;
  float fece_area_threshold = 400.0F;
  int threads = 0;  // 0: all cores
};

}  // namespace dirty_seg
