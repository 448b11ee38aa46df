// The command `compare`: two results or two dumps, with numbers.
#pragma once

#include <optional>
#include <string>

#include "command_line/command_line.h"
#include "compare/results_limits.h"

namespace dirty_seg {

struct CompareOptions {
  std::string a;
  std::string b;
  bool json = false;
  bool quiet = false;
  ResultsLimits limits;
  std::optional<double> max_difference;  // of dumps
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddCompare(Program& program, CompareOptions& options);

/// Returns the exit status. Throws SetupError when the two cannot be compared.
int RunCompare(const CompareOptions& options);

}  // namespace dirty_seg
