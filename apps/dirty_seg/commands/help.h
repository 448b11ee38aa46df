// The command `help`, which shows what --help shows.
#pragma once

#include <string>

#include "command_line/command_line.h"

namespace dirty_seg {

struct HelpOptions {
  const Program* program = nullptr;
  std::string command;  // empty: the program
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddHelp(Program& program, HelpOptions& options);

/// Returns the exit status. Throws SetupError for a word that is not a command.
int RunHelp(const HelpOptions& options);

}  // namespace dirty_seg
