// The command `dump`: every tensor of one frame as a file.
#pragma once

#include <cstdint>
#include <string>

#include "command_line/command_line.h"
#include "config/detector_options.h"
#include "detector/log_capture.h"
#include "frames/frame_fit.h"

namespace dirty_seg {

struct DumpOptions {
  DetectorOptions detector;
  std::string output;
  bool overwrite = false;
  std::int64_t frame_number = 0;
  std::string fit = kFitWords[0];
  std::string input;
  LogOptions log;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddDump(Program& program, DumpOptions& options);

/// Returns the exit status. Throws SetupError when the run cannot start.
int RunDump(const DumpOptions& options);

}  // namespace dirty_seg
