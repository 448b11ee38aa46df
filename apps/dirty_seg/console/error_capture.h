// Captures what libraries write to standard error, to print it as part of a message.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg {

/// Takes what the current thread writes to `stderr`, std::cerr and std::clog, for its lifetime:
/// decoders of pictures and the engine tell there what they return no text for. Other threads write
/// as ever. At most one object for each thread at a time.
class ErrorCapture {
 public:
  /// Throws SetupError if there is no memory for it.
  ErrorCapture();
  ~ErrorCapture();
  ErrorCapture(const ErrorCapture&) = delete;
  ErrorCapture& operator=(const ErrorCapture&) = delete;

  /// Puts in place what tells threads apart. The first capture does it too; it must be done before
  /// a second thread writes. Throws SetupError as the constructor.
  static void Prepare();

  /// Everything written so far: lines that are not empty.
  std::vector<std::string> Lines() const;

  /// The lines, joined by "; ", without the engine's name before each.
  std::string Text() const;

 private:
  friend struct ErrorStream;

  std::string text_;
};

}  // namespace dirty_seg
