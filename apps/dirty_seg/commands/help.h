// The command `help`, which shows what --help shows.
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace dirty_seg {

struct HelpOptions {
  const CLI::App* program = nullptr;
  std::string command;  // empty: the program
};

/// Adds the command to `app`; parsing fills `options`, which outlives `app`.
CLI::App* AddHelp(CLI::App& app, HelpOptions& options);

/// Returns the exit status. Throws SetupError for a word that is no command.
int RunHelp(const HelpOptions& options);

/// "'detcet' is no command; did you mean 'detect'?"
std::string NoSuchCommand(const CLI::App& app, const std::string& word);

}  // namespace dirty_seg
