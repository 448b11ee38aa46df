// Operator new that fails when a test says so, and counts what is not given back. It stands before
// the C++ library's own for the whole process: the detector, yaml-cpp, spdlog, the test. So does
// posix_memalign, which OpenCV asks for its pixels, but not under a sanitizer, which stands there
// itself.
#pragma once

#include <cstddef>

namespace faults {

/// While it lives, the n-th request of this thread fails, counted from 1; `forever`: all after it
/// too. One at a time.
class FailingMemory {
 public:
  FailingMemory(std::size_t n, bool forever);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  /// Whether it came to the n-th request.
  static bool HasFailed();
};

/// Blocks that are not given back.
long LiveBlocks();

}  // namespace faults
