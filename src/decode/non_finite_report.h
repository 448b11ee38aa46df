// Telling that a network gave numbers that are not finite.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nuvik::model {

/// Of one output, of its `total` numbers.
struct NonFiniteCount {
  std::string output;
  std::size_t count;
  std::size_t total;
};

/// Keeps what `TakeNonFiniteCounts` gives the calling thread.
void SetNonFiniteCounts(const std::vector<NonFiniteCount>& counts);

/// One post-processor's lines on standard error: seldom, since a broken network breaks every frame.
class NonFiniteReport {
 public:
  /// Writes a line for the 1st, 10th, 100th ... such frame. `counts` is not empty.
  void Print(const std::vector<NonFiniteCount>& counts);

 private:
  std::uint64_t frames_ = 0;
  std::uint64_t next_reported_ = 1;
};

}  // namespace nuvik::model
