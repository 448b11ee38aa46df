// The command `rename-tensors`: a network with other names for its inputs and outputs.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace dirty_seg {

struct RenameTensorsOptions {
  std::string input;
  std::string output;
  std::vector<std::string> names;  // OLD=NEW
  bool overwrite = false;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddRenameTensors(Program& program, RenameTensorsOptions& options);

/// Returns the exit status. Throws SetupError for what cannot be renamed, and OutputError for a
/// file that cannot be written.
int RunRenameTensors(const RenameTensorsOptions& options);

}  // namespace dirty_seg
