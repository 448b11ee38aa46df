// The command `detect`: pictures in, JSON lines and overlay pictures out.
#pragma once

#include "command_line/command_line.h"
#include "commands/options.h"
#include "config/detector_options.h"
#include "detector/log_capture.h"
#include "run/result_writer.h"

namespace dirty_seg {

struct DetectOptions {
  DetectorOptions detector;
  InputArguments input;
  ResultOptions results;
  LogOptions log;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddDetect(Program& program, DetectOptions& options);

/// Returns the exit status. Throws SetupError when the run cannot start.
int RunDetect(const DetectOptions& options);

}  // namespace dirty_seg
