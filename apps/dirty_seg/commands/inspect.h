// The command `inspect`: what network files are, and what they can serve as.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace dirty_seg {

struct InspectOptions {
  std::string format = "text";
  int batch = 1;
  int threads = 0;
  std::vector<std::string> models;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddInspect(Program& program, InspectOptions& options);

/// Returns the exit status.
int RunInspect(const InspectOptions& options);

}  // namespace dirty_seg
