// Standard input that may be slow to arrive.
#pragma once

#include <array>
#include <functional>
#include <streambuf>
#include <utility>

namespace dirty_seg {

/// A stream buffer that reads from a file descriptor. Returns what is available without waiting for
/// more, and ends when an Interruption happens, or its reader needs no more, also while it waits.
class WaitingInput : public std::streambuf {
 public:
  /// Does not close `descriptor`. `is_over` tells whether more is needed; it is asked ten times a
  /// second.
  explicit WaitingInput(
      int descriptor, std::function<bool()> is_over = [] { return false; })
      : descriptor_(descriptor), is_over_(std::move(is_over)) {}

 protected:
  int_type underflow() override;

 private:
  int descriptor_;
  std::function<bool()> is_over_;
  std::array<char, 4096> buffer_{};
};

}  // namespace dirty_seg
