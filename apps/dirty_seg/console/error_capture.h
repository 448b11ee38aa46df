// Captures what libraries write to standard error, to print it as part of a message.
#pragma once

#include <string>

namespace dirty_seg {

/// Takes over the process's standard error for its lifetime. Initialising an engine returns a
/// number; the cause is in the line that it writes there, and so do decoders of pictures. At
/// most one object at a time.
class ErrorCapture {
 public:
  /// Throws SetupError if standard error cannot be taken over (no file can be opened). A closed one
  /// can be.
  ErrorCapture();
  /// Restores standard error.
  ~ErrorCapture();
  ErrorCapture(const ErrorCapture&) = delete;
  ErrorCapture& operator=(const ErrorCapture&) = delete;

  /// Everything written so far: lines that are not empty, joined by "; ", without the engine's name
  /// before each.
  std::string Text() const;

 private:
  int real_ = -1;
};

}  // namespace dirty_seg
