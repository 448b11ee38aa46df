#include "support/scripted_clock.h"

#include <gtest/gtest.h>

extern "C" int __real_clock_gettime(clockid_t clock, timespec* now);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now);

namespace {

bool is_scripted = false;
timespec scripted_now{};
int readings = 0;

}  // namespace

extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  if (!is_scripted) return __real_clock_gettime(clock, now);
  EXPECT_EQ(clock, CLOCK_REALTIME);
  *now = scripted_now;
  ++readings;
  return 0;
}

ScriptedClock::ScriptedClock(const timespec& start) {
  Set(start);
  readings = 0;
  is_scripted = true;
}

ScriptedClock::~ScriptedClock() { is_scripted = false; }

void ScriptedClock::Set(const timespec& now) { scripted_now = now; }

void ScriptedClock::AdvanceNanoseconds(long nanoseconds) {
  constexpr long kPerSecond = 1000000000;
  const long sum = scripted_now.tv_nsec + nanoseconds;
  scripted_now.tv_sec += sum / kPerSecond;
  scripted_now.tv_nsec = sum % kPerSecond;
}

int ScriptedClock::Readings() const { return readings; }
