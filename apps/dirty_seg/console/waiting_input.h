// Standard input that may be slow to arrive.
#pragma once

#include <array>
#include <streambuf>

namespace dirty_seg {

/// A stream buffer that reads from a file descriptor. Returns what is available without waiting for
/// more, and ends when an Interruption happens, also while it waits.
class WaitingInput : public std::streambuf {
 public:
  /// Does not close `descriptor`.
  explicit WaitingInput(int descriptor) : descriptor_(descriptor) {}

 protected:
  int_type underflow() override;

 private:
  int descriptor_;
  std::array<char, 4096> buffer_{};
};

}  // namespace dirty_seg
