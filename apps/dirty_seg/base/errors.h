// Exceptions of the host program, and its exit status.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace dirty_seg {

/// The run cannot start: bad usage, network, configuration or output folder. Exit status 2.
class SetupError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The engine cannot read or load a network file. `what()` is a sentence that leads to the engine's
/// own words, which are printed before it.
class NetworkError : public SetupError {
 public:
  NetworkError(std::string text, std::string cause)
      : SetupError(text + "; the engine's message above says why"),
        text_(std::move(text)),
        cause_(std::move(cause)) {}

  /// The sentence alone.
  const std::string& text() const { return text_; }

  /// The engine's words, on one line.
  const std::string& cause() const { return cause_; }

 private:
  std::string text_;
  std::string cause_;
};

/// One input failed; the others are unaffected. Exit status 1.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Something cannot be written, so that going on would only lose more. Exit status 1 where results
/// were kept, 2 where there are none.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Exit status of the program.
enum ExitStatus : int {
  kAllDone = 0,
  kSomeInputFailed = 1,
  kCannotRun = 2,
  kInterrupted = 130,
};

}  // namespace dirty_seg
