// What the fuzz targets share: taking an input apart, and stating what must hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace fuzz {

/// Ends the process, which the fuzzer takes for a finding, unless `holds`.
inline void Require(bool holds, const char* claim) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: does not hold: %s\n", claim);
  std::abort();
}

/// Reads an input from its front. Behind the end everything is 0 or empty, so that every input
/// means something. Each call by itself, or in braces: compilers disagree on the order in which a
/// call's arguments are made.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  bool IsEmpty() const { return left_ == 0; }

  /// The bytes of a number, in the machine's order.
  template <typename Number>
  Number Take() {
    Number number{};
    const std::size_t count = std::min(sizeof(number), left_);
    if (count > 0) std::memcpy(&number, data_, count);
    Skip(count);
    return number;
  }

  /// A number from `least` to `most`, of one byte or, for wider ranges, four.
  int TakeFrom(int least, int most) {
    const auto range = static_cast<std::uint32_t>(most - least) + 1;
    const std::uint32_t number = range <= 256 ? Take<std::uint8_t>() : Take<std::uint32_t>();
    return least + static_cast<int>(number % range);
  }

  bool TakeBool() { return (Take<std::uint8_t>() & 1U) != 0; }

  /// Up to the next line break, which is left out.
  std::string TakeLine() {
    const std::uint8_t* const end = std::find(data_, data_ + left_, std::uint8_t{'\n'});
    std::string line(data_, end);
    Skip(std::min(left_, line.size() + 1));
    return line;
  }

  std::string TakeRest() {
    std::string rest(data_, data_ + left_);
    Skip(left_);
    return rest;
  }

 private:
  void Skip(std::size_t count) {
    data_ += count;
    left_ -= count;
  }

  const std::uint8_t* data_;
  std::size_t left_;
};

}  // namespace fuzz
