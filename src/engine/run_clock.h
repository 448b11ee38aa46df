// What `TakeRunTime` gives the calling thread.
#pragma once

#include <chrono>

namespace nuvik::alg::common {

/// Counts one run of the calling thread, from construction to destruction, on the same thread.
class RunClock {
 public:
  RunClock() = default;
  ~RunClock();
  RunClock(const RunClock&) = delete;
  RunClock& operator=(const RunClock&) = delete;

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace nuvik::alg::common
