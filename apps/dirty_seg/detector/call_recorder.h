// What libraries say while the detector works.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace dirty_seg {

/// Lines without their breaks, none shown yet.
struct CallLines {
  /// Of the detector library's log, as it writes them.
  std::vector<std::string> log;
  /// Written to standard error, the engine's with its name before them.
  std::vector<std::string> errors;
};

class CallRecorder {
 public:
  CallRecorder() = default;
  CallRecorder(const CallRecorder&) = delete;
  CallRecorder& operator=(const CallRecorder&) = delete;
  virtual ~CallRecorder() = default;

  /// Runs `call`, on this thread, and returns what was said meanwhile. What it throws passes
  /// through.
  virtual CallLines Record(const std::function<void()>& call) = 0;

  /// Passes the lines on to where they are wanted. May be called from another thread than `Record`,
  /// while that works.
  virtual void Show(const CallLines& lines) = 0;
};

}  // namespace dirty_seg
