// Standard input that may be long in coming.
#pragma once

#include <array>
#include <streambuf>

namespace dirty_seg {

/// What is read from a descriptor, for a std::istream. Gives what there is without waiting for
/// more, and ends when an Interruption happens, also while it waits.
class WaitingInput : public std::streambuf {
 public:
  /// `descriptor` stays the caller's.
  explicit WaitingInput(int descriptor) : descriptor_(descriptor) {}

 protected:
  int_type underflow() override;

 private:
  int descriptor_;
  std::array<char, 4096> buffer_{};
};

}  // namespace dirty_seg
