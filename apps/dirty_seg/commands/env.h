// The command `env`: what the program runs on.
#pragma once

#include "command_line/command_line.h"

namespace dirty_seg {

struct EnvOptions {
  int threads = 0;
  bool json = false;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddEnv(Program& program, EnvOptions& options);

/// Returns the exit status.
int RunEnv(const EnvOptions& options);

}  // namespace dirty_seg
