// The command `detect`: pictures in, JSON lines and overlay pictures out.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace dirty_seg {

struct DetectOptions {
  std::string model;
  std::string config;
  std::string fece_model;  // empty: no classifier
  std::vector<int> fece_class_ids;
  float fece_score_threshold = 0.5F;
  float fece_area_threshold = 400.0F;
  int threads = 0;
  std::string output;  // empty: standard output
  bool verbose = false;
  std::vector<std::string> inputs;
};

/// Adds the command to `app`; parsing fills `options`, which outlives `app`.
void AddDetect(CLI::App& app, DetectOptions& options);

/// Returns the exit status. Throws SetupError when the run cannot start.
int RunDetect(const DetectOptions& options);

}  // namespace dirty_seg
