// Ctrl-C, and the signal that asks a program to end.
#pragma once

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

}  // namespace dirty_seg
