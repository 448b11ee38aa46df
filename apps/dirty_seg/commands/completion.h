// The command `completion`: what a shell needs to complete the program's words.
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace dirty_seg {

struct CompletionOptions {
  std::string shell;
  CLI::App* program = nullptr;
};

/// Adds the command to `app`; parsing fills `options`, which outlives `app`.
CLI::App* AddCompletion(CLI::App& app, CompletionOptions& options);

/// Returns the exit status.
int RunCompletion(const CompletionOptions& options);

/// The script for a shell, made from the program's own commands and options.
std::string BashCompletion(CLI::App& program);
std::string ZshCompletion(CLI::App& program);

}  // namespace dirty_seg
