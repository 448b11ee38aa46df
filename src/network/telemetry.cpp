#include "network/telemetry.h"

#include <cstdlib>
#include <string_view>

namespace nuvik::alg::common {

void SwitchTelemetryOff() {
  constexpr const char* kSwitch = "ORT_DISABLE_TELEMETRY";
  constexpr const char* kOff = "1";
  const char* const value = std::getenv(kSwitch);
  if (value == nullptr || std::string_view(value) != kOff) setenv(kSwitch, kOff, 1);
}

}  // namespace nuvik::alg::common
