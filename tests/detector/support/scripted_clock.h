// The clock that the detector's stage times are read from.
#pragma once

#include <ctime>

/// While one lives, `clock_gettime` of the code under test gives what the test has set. The linker
/// redirects the call (--wrap=clock_gettime).
class ScriptedClock {
 public:
  explicit ScriptedClock(const timespec& start);
  ~ScriptedClock();
  ScriptedClock(const ScriptedClock&) = delete;
  ScriptedClock& operator=(const ScriptedClock&) = delete;

  void Set(const timespec& now);
  void AdvanceNanoseconds(long nanoseconds);
  /// Number of times that it was read; a clock other than CLOCK_REALTIME fails the test.
  int Readings() const;
};
