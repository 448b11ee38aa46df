// Keeps what a library says on standard error, to tell it in a sentence of one's own.
#pragma once

#include <string>

namespace dirty_seg {

/// Takes over the process's standard error for its lifetime. Initialising an engine returns a
/// number; the cause stands in the line that it writes there, and so do decoders of pictures. At
/// most one object at a time.
class ErrorCapture {
 public:
  /// Throws SetupError where standard error cannot be taken over (no file can be opened). One that
  /// is closed can be.
  ErrorCapture();
  /// Gives standard error back.
  ~ErrorCapture();
  ErrorCapture(const ErrorCapture&) = delete;
  ErrorCapture& operator=(const ErrorCapture&) = delete;

  /// All that was written so far, lines joined by "; ", without the engine's own name before each.
  std::string Text() const;

 private:
  int real_ = -1;
};

}  // namespace dirty_seg
