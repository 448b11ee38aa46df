// Captures the detector library's log, so that it stays off standard output, and reads it.
#pragma once

#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "detector/call_recorder.h"

namespace dirty_seg {

/// Which part of the library's log is shown on standard error.
struct LogOptions {
  bool verbose = false;
  /// Show nothing, not even the notice about a variable with an unknown value.
  bool quiet = false;
  /// One of `kLogLevels`, from which on lines are shown in place of SPDLOG_LEVEL, and which implies
  /// `verbose`; or empty.
  std::string level;
};

/// Every name of a level, those of the library's variable and the short ones.
inline constexpr std::array<const char*, 9> kLogLevels{
    "trace", "debug", "info", "warning", "warn", "error", "err", "critical", "off"};

bool IsLogLevel(const std::string& word);

/// Takes over the process's standard output for its lifetime.
///
/// The detector library can log only to standard output and to the systemd journal. The log also
/// has what its calls do not return: the time of each stage and the cause of a failure. So file
/// descriptor 1 is redirected to a file in memory, which cannot fill up and block as a pipe can,
/// and the library is set to log there; what the program itself prints on standard output goes
/// through `standard_output()`.
///
/// The library reads its environment variables once, at its first line: make this object before.
/// What is shown must not change what is written to results. Times, verdicts and causes are logged
/// from level info on, so that is the library's level, or a lower one if a lower one is asked for;
/// `level`, or else SPDLOG_LEVEL, only chooses which lines are passed on. The journal, where
/// SPDLOG_SYSTEMD turns it on, is the library's own and gets them all: it has its own filter for
/// levels (`journalctl -p`). Unless SPDLOG_STDOUT is set, and not to `false`, no line ever reaches
/// standard output. At most one object at a time. One thread may take lines while another shows
/// those taken before.
class LogCapture : public CallRecorder {
 public:
  /// Throws SetupError if standard output cannot be taken over (it is closed).
  explicit LogCapture(const LogOptions& options = {});
  /// Restores standard output.
  ~LogCapture() override;

  /// The real standard output; valid as long as this object.
  std::FILE* standard_output() const { return output_; }

  /// Returns the lines since the last call, without their line breaks, and shows them.
  std::vector<std::string> TakeLines();

  /// The log's lines are those since they were last taken.
  CallLines Record(const std::function<void()>& call) override;

  /// Prints the errors, and as below of the log.
  void Show(const CallLines& lines) override;

  /// Prints those of `lines` from the chosen level on: to standard output if SPDLOG_STDOUT is set,
  /// to standard error if verbose. They are printed as the library writes them, but made printable
  /// (printable.h).
  void Show(const std::vector<std::string>& lines);

 private:
  static std::vector<std::string> TakeUnshownLines();
  bool IsShown(const std::string& line);
  void PassOn(const std::string& line) const;

  bool verbose_;
  bool quiet_;
  int level_;  // the lowest one shown
  bool wanted_on_standard_output_;
  bool last_is_shown_ = true;
  std::FILE* output_ = nullptr;
};

}  // namespace dirty_seg
