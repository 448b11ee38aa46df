// Keeps the detector library's log off standard output, and reads it.
#pragma once

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace dirty_seg {

/// What of the library's log a person wants to see on standard error.
struct LogOptions {
  bool verbose = false;
  /// Nothing, not even that a variable has a value that nobody understands.
  bool quiet = false;
  /// One of `kLogLevels`, from which on lines are shown in place of SPDLOG_LEVEL, and which implies
  /// `verbose`; or empty.
  std::string level;
};

/// Every word for a level, those of the library's variable and the short ones.
inline constexpr std::array<const char*, 9> kLogLevels{
    "trace", "debug", "info", "warning", "warn", "error", "err", "critical", "off"};

bool IsLogLevel(const std::string& word);

/// Takes over the process's standard output for its lifetime.
///
/// The detector library can log to standard output and to the systemd journal alone. There also
/// stands what its calls do not return: the time of each stage and the cause of a failure. So file
/// descriptor 1 is pointed at a file in memory, which cannot fill up and block as a pipe can, and
/// the library is told to log there; what the program itself has to say on standard output goes
/// through `standard_output()`.
///
/// The library reads its environment variables once, at its first line: make this object before.
/// What a person wants to see must not change what is written. Times, verdicts and causes stand in
/// lines from the level info on, so that is the library's level, or a lower one where a lower one
/// is wanted; `level`, or else SPDLOG_LEVEL, only chooses which lines are passed on. The journal,
/// where SPDLOG_SYSTEMD turns it on, is the library's own and gets them all: it has its own choice
/// of levels (`journalctl -p`). Unless SPDLOG_STDOUT is set, and not to `false`, no line ever
/// reaches standard output. At most one object at a time; used by one thread.
class LogCapture {
 public:
  /// Throws SetupError when standard output cannot be taken over (it is closed).
  explicit LogCapture(const LogOptions& options = {});
  /// Gives standard output back.
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// The real standard output; valid as long as this object.
  std::FILE* standard_output() const { return output_; }

  /// Lines since the last call, without their line breaks. Passes them on to where the user wants
  /// them, from the level on that they chose: standard output for a user who set SPDLOG_STDOUT,
  /// standard error when verbose. They are as the library writes them, but for what a terminal
  /// would act on (printable.h).
  std::vector<std::string> TakeLines();

 private:
  bool IsShown(const std::string& line);
  void PassOn(const std::string& line) const;

  bool verbose_;
  bool quiet_;
  int level_;  // from which on lines are shown
  bool wanted_on_standard_output_;
  bool last_is_shown_ = true;
  std::FILE* output_ = nullptr;
};

}  // namespace dirty_seg
