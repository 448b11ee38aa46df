// The command `env`: what the program runs on.
#pragma once

#include <CLI/App.hpp>

namespace dirty_seg {

struct EnvOptions {
  int threads = 0;
  bool json = false;
};

/// Adds the command to `app`; parsing fills `options`, which outlives `app`.
CLI::App* AddEnv(CLI::App& app, EnvOptions& options);

/// Returns the exit status.
int RunEnv(const EnvOptions& options);

}  // namespace dirty_seg
