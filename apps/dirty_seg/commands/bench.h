// The command `bench`: how long frames take, and what another network or configuration changes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "command_line/command_line.h"
#include "commands/options.h"
#include "config/detector_options.h"
#include "detector/log_capture.h"

namespace dirty_seg {

struct BenchOptions {
  DetectorOptions detector;
  // The second side, where it differs from the first; empty ones are the first's.
  std::string model_b;
  std::string config_b;
  std::string fece_model_b;
  std::optional<int> threads_b;
  int rounds = 10;
  int warmup = 2;
  bool json = false;
  LogOptions log;
  InputArguments input;
  std::optional<std::int64_t> max_frames;  // of each video or camera
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddBench(Program& program, BenchOptions& options);

/// Returns the exit status. Throws SetupError when the run cannot start.
int RunBenchCommand(const BenchOptions& options);

}  // namespace dirty_seg
