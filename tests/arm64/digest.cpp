#include "digest.h"

#include <iomanip>

namespace nuvik::test {

void Digest::Add(const void* bytes, std::size_t count) {
  const auto* next = static_cast<const std::uint8_t*>(bytes);
  for (std::size_t i = 0; i < count; ++i) {
    value_ ^= next[i];
    value_ *= 0x100000001b3U;
  }
}

std::ostream& operator<<(std::ostream& out, Hex hex) {
  return out << "0x" << std::hex << std::setw(16) << std::setfill('0') << hex.value << std::dec;
}

}  // namespace nuvik::test
