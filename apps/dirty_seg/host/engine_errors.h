// Keeps what the engine says on standard error, to tell it in a sentence of one's own.
#pragma once

#include <string>

namespace dirty_seg {

/// Takes over the process's standard error for its lifetime. The engine's calls return a number;
/// the cause stands in the line that they write there. At most one object at a time.
class EngineErrors {
 public:
  /// Throws SetupError where standard error cannot be taken over (it is closed).
  EngineErrors();
  /// Gives standard error back.
  ~EngineErrors();
  EngineErrors(const EngineErrors&) = delete;
  EngineErrors& operator=(const EngineErrors&) = delete;

  /// All that was written so far, lines joined by "; ", without the engine's own name before each.
  std::string Text() const;

 private:
  int real_ = -1;
};

}  // namespace dirty_seg
