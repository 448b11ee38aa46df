// The command `init`: the files that a new user starts from.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "config/starter.h"

namespace dirty_seg {

struct InitOptions {
  std::string model;
  std::string fece_model;  // empty: no classifier
  std::vector<int> fece_class_ids;
  std::string grid;  // empty: what suits the network
  int overlap = kDefaultOverlap;
  std::string output = ".";
  bool overwrite = false;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddInit(Program& program, InitOptions& options);

/// Returns the exit status. Throws SetupError when the files cannot be made.
int RunInit(const InitOptions& options);

}  // namespace dirty_seg
