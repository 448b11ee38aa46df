// The command `completion`: what a shell needs to complete the program's words.
#pragma once

#include <string>

#include "command_line/command_line.h"

namespace dirty_seg {

struct CompletionOptions {
  std::string shell;
  const Program* program = nullptr;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddCompletion(Program& program, CompletionOptions& options);

/// Returns the exit status.
int RunCompletion(const CompletionOptions& options);

/// The script for a shell, made from the program's own commands and options.
std::string BashCompletion(const Program& program);
std::string ZshCompletion(const Program& program);

}  // namespace dirty_seg
