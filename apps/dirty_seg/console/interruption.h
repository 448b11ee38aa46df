// Handles SIGINT (Ctrl-C) and SIGTERM.
#pragma once

#include <stdexcept>

namespace dirty_seg {

/// For its lifetime, the first SIGINT or SIGTERM is only recorded, so that work can stop cleanly; a
/// second one ends the process at once. At most one object at a time.
class Interruption {
 public:
  Interruption();
  /// Restores the former signal handlers.
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  static bool Happened();
};

/// The user interrupted the work, and nothing of it is kept. Exit status 130.
class InterruptedError : public std::runtime_error {
 public:
  InterruptedError() : std::runtime_error("interrupted") {}
};

/// Throws InterruptedError once an Interruption happened.
void ThrowIfInterrupted();

}  // namespace dirty_seg
