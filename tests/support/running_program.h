// The built program while it runs: fed line by line, sent signals.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace dirty_seg::test {

class RunningProgram {
 public:
  /// Standard output goes to `output_path`, standard error to `errors_path`. Without a SPDLOG_
  /// variable, and with the signals' usual meaning.
  RunningProgram(const std::vector<std::string>& arguments, const std::string& output_path,
                 const std::string& errors_path);
  /// Ends it, if it has not ended.
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  void WriteInput(const std::string& text) const;
  void Signal(int signal) const;

  /// Waits for the end. The exit status; -1 for one that a signal ended.
  int Wait();

 private:
  pid_t process_ = -1;
  int input_ = -1;
};

/// Waits until `condition` holds, a minute at most; returns whether it does.
bool WaitUntil(const std::function<bool()>& condition);

}  // namespace dirty_seg::test
