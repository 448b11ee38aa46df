// Counts large requests for memory, from anywhere in the process: this binary's malloc and its
// siblings stand before the C library's, also for operator new, OpenCV and the runtime.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace memory_test {

/// A block of more than this many bytes is large.
inline constexpr std::size_t kLargeBlock = 64 * 1024;

/// Records while it lives, on every thread. One at a time.
class LargeBlocks {
 public:
  LargeBlocks();
  ~LargeBlocks();
  LargeBlocks(const LargeBlocks&) = delete;
  LargeBlocks& operator=(const LargeBlocks&) = delete;

  /// Ends the recording. Bytes of each block that was asked for, in order.
  std::vector<std::size_t> Stop();

  /// The calls that led to each block, for the message of a test that fails. After `Stop`.
  static std::string Callers();
};

}  // namespace memory_test
