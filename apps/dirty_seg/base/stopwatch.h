// Elapsed wall-clock time.
#pragma once

#include <chrono>

namespace dirty_seg {

/// Starts at construction.
class Stopwatch {
 public:
  double Milliseconds() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_)
        .count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace dirty_seg
