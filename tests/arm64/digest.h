// A digest of bytes, and bytes and floats that are the same on every processor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <random>

namespace nuvik::test {

/// 64-bit FNV-1a over everything added.
class Digest {
 public:
  void Add(const void* bytes, std::size_t count);
  template <typename Number>
  void AddNumber(Number number) {
    Add(&number, sizeof(number));
  }

  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0xcbf29ce484222325U;
};

/// A digest as a failed expectation shows it and as the source spells it.
struct Hex {
  std::uint64_t value;
};
inline bool operator==(Hex a, Hex b) { return a.value == b.value; }
std::ostream& operator<<(std::ostream& out, Hex hex);

/// The standard library fixes the generator's numbers, but not those of its distributions.
class Noise {
 public:
  std::uint8_t Byte() { return static_cast<std::uint8_t>(generator_() >> 24U); }
  /// A multiple of 2^-20 in [0, 1), exact.
  float Unit() { return static_cast<float>(generator_() >> 12U) * 0x1p-20F; }
  int Below(int limit) {
    return static_cast<int>(generator_() % static_cast<std::uint32_t>(limit));
  }

 private:
  std::mt19937 generator_{20240229};
};

}  // namespace nuvik::test
