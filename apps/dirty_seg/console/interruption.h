// Ctrl-C, and the signal that asks a program to end.
#pragma once

#include <stdexcept>

namespace dirty_seg {

/// For its lifetime, the first SIGINT or SIGTERM is only noted, so that work can be ended in order;
/// a second one ends the process at once. At most one object at a time.
class Interruption {
 public:
  Interruption();
  /// Gives the signals their former meaning.
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  static bool Happened();
};

/// The user ended the work, and nothing is left of it. Exit status 130.
class InterruptedError : public std::runtime_error {
 public:
  InterruptedError() : std::runtime_error("interrupted") {}
};

/// Throws InterruptedError once an Interruption happened.
void ThrowIfInterrupted();

}  // namespace dirty_seg
