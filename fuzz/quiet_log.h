// Keeps the detector's log lines formatted, at every level, and written nowhere.
#pragma once

#include <cstdlib>

namespace fuzz {

/// Before the first line is logged: the environment is read once.
inline bool SilenceLog() {
  setenv("SPDLOG_STDOUT", "false", 1);
  setenv("SPDLOG_SYSTEMD", "false", 1);
  setenv("SPDLOG_LEVEL", "debug", 1);
  return true;
}

}  // namespace fuzz
