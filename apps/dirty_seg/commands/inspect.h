// The command `inspect`: what network files are, and what they can serve as.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace dirty_seg {

struct InspectOptions {
  std::string format = "text";
  int batch = 1;
  int threads = 0;
  std::vector<std::string> models;
};

/// Adds the command to `app`; parsing fills `options`, which outlives `app`.
CLI::App* AddInspect(CLI::App& app, InspectOptions& options);

/// Returns the exit status.
int RunInspect(const InspectOptions& options);

}  // namespace dirty_seg
