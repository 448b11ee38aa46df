// The command `check`: what is wrong with a configuration file, and what it looks at.
#pragma once

#include <string>

#include "command_line/command_line.h"
#include "frames/frame_fit.h"

namespace dirty_seg {

struct CheckOptions {
  std::string config;
  std::string model;   // empty: that of a host file beside it, or one of 640 x 640
  std::string frame;   // empty: no picture
  std::string output;  // of the picture
  std::string fit = kFitWords[0];
  bool overwrite = false;
  bool strict = false;
  bool json = false;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddCheck(Program& program, CheckOptions& options);

/// Returns the exit status. Throws SetupError for a file that cannot be read, and InputError for a
/// picture that cannot be written.
int RunCheck(const CheckOptions& options);

}  // namespace dirty_seg
