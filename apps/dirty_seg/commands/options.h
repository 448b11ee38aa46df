// Options that several commands share.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "config/detector_options.h"
#include "detector/log_capture.h"
#include "frames/frame_fit.h"

namespace dirty_seg {

/// A number of threads that the engine takes, 0 for all cores.
ValueCheck ThreadsCheck();

/// The number of a class.
ValueCheck ClassIdCheck();

/// --threads.
void AddThreadsOption(Command command, int& threads);

/// --fit, one of kFitWords. `word` outlives `command`.
void AddFitOption(Command command, std::string& word);

/// What frames are taken of.
struct InputArguments {
  std::vector<std::string> inputs;
  bool recursive = false;
  int frame_step = 1;
  std::optional<float> every;  // seconds, in place of `frame_step`
  std::string fit = kFitWords[0];
};

/// INPUT, --recursive, --frame-step and --fit. `arguments` outlives `command`.
void AddInputOptions(Command command, InputArguments& arguments);

/// --every. `arguments` outlives `command`, which has the options above.
void AddEveryOption(Command command, InputArguments& arguments);

/// --model, --config, those of the classifier, --threads, and --conf, --iou, --max-det,
/// --mask-threshold and --classes. `options` outlives `command`.
void AddDetectorOptions(Command command, DetectorOptions& options);

/// --names, for a command that shows classes by name. `names` outlives `command`.
void AddNamesOption(Command command, std::string& names);

/// -v, -q and --log-level. `options` outlives `command`.
void AddLogOptions(Command command, LogOptions& options);

/// -q, for a command that runs no detector. `quiet` outlives `command`.
Option AddQuietOption(Command command, bool& quiet);

}  // namespace dirty_seg
