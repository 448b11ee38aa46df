// The bytes of a protocol buffer message, field by field.
#pragma once

#include <cstdint>
#include <string>

namespace nuvik::test {

inline std::string Varint(std::uint64_t value) {
  std::string bytes;
  for (; value >= 128; value >>= 7U) bytes += static_cast<char>(value % 128 + 128);
  return bytes + static_cast<char>(value);
}

inline std::string Number(unsigned field, std::uint64_t value) {
  return Varint(field * 8U) + Varint(value);
}

/// A text or a message.
inline std::string Bytes(unsigned field, const std::string& bytes) {
  return Varint(field * 8U + 2U) + Varint(bytes.size()) + bytes;
}

}  // namespace nuvik::test
