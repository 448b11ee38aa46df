// The command `dump`: every tensor of one frame as a file.
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <string>

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

/// Adds the command to `app`; parsing fills `options`, which outlives `app`.
CLI::App* AddDump(CLI::App& app, DumpOptions& options);

/// Returns the exit status. Throws SetupError when the run cannot start.
int RunDump(const DumpOptions& options);

}  // namespace dirty_seg
