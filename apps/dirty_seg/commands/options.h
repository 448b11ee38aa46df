// Options that several commands share.
#pragma once

#include <CLI/App.hpp>
#include <CLI/TypeTools.hpp>
#include <CLI/Validators.hpp>
#include <string>
#include <vector>

#include "config/detector_options.h"
#include "detector/log_capture.h"
#include "frames/frame_fit.h"

namespace dirty_seg {

/// A number from `least` to `most`; `range` says so in words. CLI11's own range check lets
/// not-a-number through and adds its bounds to the help.
template <typename Number>
CLI::Validator NumberFrom(Number least, Number most, const std::string& range) {
  const auto check = [least, most, range](std::string& text) -> std::string {
    Number value{};
    const bool is_number = CLI::detail::lexical_cast(text, value);
    return is_number && value >= least && value <= most ? "" : text + " is not " + range;
  };
  return {check, ""};
}

/// One of `words`; the refusal names the nearest.
CLI::Validator OneOf(const std::vector<std::string>& words);

/// Any text but none, which a variable that is not set leaves.
CLI::Validator NotEmpty(const std::string& expected);

/// --threads.
void AddThreadsOption(CLI::App& command, int& threads);

/// --fit, one of kFitWords. `word` outlives `command`.
void AddFitOption(CLI::App& command, std::string& word);

/// What frames are taken of.
struct InputArguments {
  std::vector<std::string> inputs;
  bool recursive = false;
  int frame_step = 1;
  std::string fit = kFitWords[0];
};

/// INPUT, --recursive, --frame-step and --fit. `arguments` outlives `command`.
void AddInputOptions(CLI::App& command, InputArguments& arguments);

/// --model, --config, those of the classifier, and --threads. `options` outlives `command`.
void AddDetectorOptions(CLI::App& command, DetectorOptions& options);

/// -v, -q and --log-level. `options` outlives `command`.
void AddLogOptions(CLI::App& command, LogOptions& options);

/// -q, for a command that runs no detector. `quiet` outlives `command`.
CLI::Option* AddQuietOption(CLI::App& command, bool& quiet);

}  // namespace dirty_seg
