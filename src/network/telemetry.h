// The runtime's reports to its maker.
#pragma once

namespace nuvik::alg::common {

/// A robot's engine reports to nobody. Sets a variable of the process, which the runtime reads when
/// it starts, unless it is set so already. The engine calls this before its first session; a host
/// whose other threads read the environment by then calls it before it has them.
void SwitchTelemetryOff();

}  // namespace nuvik::alg::common
