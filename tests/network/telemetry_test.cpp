#include "network/telemetry.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace nuvik::alg::common {
namespace {

constexpr const char* kSwitch = "ORT_DISABLE_TELEMETRY";

TEST(Telemetry, IsSwitchedOff) {
  unsetenv(kSwitch);
  SwitchTelemetryOff();
  EXPECT_STREQ(std::getenv(kSwitch), "1");
}

TEST(Telemetry, IsSwitchedOffAgainstAnotherValue) {
  setenv(kSwitch, "0", 1);
  SwitchTelemetryOff();
  EXPECT_STREQ(std::getenv(kSwitch), "1");
}

// Others may hold what they read, and be reading.
TEST(Telemetry, LeavesTheEnvironmentAloneWhenOff) {
  setenv(kSwitch, "1", 1);
  const char* const before = std::getenv(kSwitch);
  SwitchTelemetryOff();
  EXPECT_EQ(std::getenv(kSwitch), before);
}

}  // namespace
}  // namespace nuvik::alg::common
