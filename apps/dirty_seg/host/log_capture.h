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
  /// Nothing, not even a notice of a variable that the library does not understand.
  bool quiet = false;
  /// One of `kLogLevels`, from which on lines are shown in place of SPDLOG_LEVEL, and which implies
  /// `verbose`; or empty.
  std::string level;
};

/// In the usual spelling; the library's own differs.
inline constexpr std::array<const char*, 7> kLogLevels{"trace", "debug",    "info", "warn",
                                                       "error", "critical", "off"};

/// Takes over the process's standard output for its lifetime.
///
/// The detector library can log to standard output and to the systemd journal alone. There also
/// stands what its calls do not return: the time of each stage and the cause of a failure. So file
/// descriptor 1 is pointed at a file in memory, which cannot fill up and block as a pipe can, and
/// the library is told to log there; what the program itself has to say on standard output goes
/// through `standard_output()`.
///
/// The library reads its environment variables once, at its first line: make this object before.
/// A variable that the user has set is respected, unless `level` replaces it. Times and causes
/// stand in lines up to the level info, so the library logs them also where `level` shows less; but
/// with the journal on, its lines go there too, and the library's level is `level`. Unless
/// SPDLOG_STDOUT is set, and not to `false`, no line ever reaches standard output. At most one
/// object at a time; used by one thread.
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
  /// standard error when verbose.
  std::vector<std::string> TakeLines();

 private:
  bool IsShown(const std::string& line);
  void PassOn(const std::string& line) const;

  bool verbose_;
  bool quiet_;
  bool wanted_on_standard_output_;
  std::string level_;
  bool last_is_shown_ = true;
  std::FILE* output_ = nullptr;
};

}  // namespace dirty_seg
