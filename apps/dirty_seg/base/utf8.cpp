#include "base/utf8.h"

namespace dirty_seg {
namespace {

unsigned char Byte(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

// Whether the second byte may follow the first: rejects overlong forms, surrogates, and what is
// beyond U+10FFFF.
bool IsSecondOf(unsigned char first, unsigned char second) {
  if (first == 0xe0) return second >= 0xa0 && second <= 0xbf;
  if (first == 0xed) return second >= 0x80 && second <= 0x9f;
  if (first == 0xf0) return second >= 0x90 && second <= 0xbf;
  if (first == 0xf4) return second >= 0x80 && second <= 0x8f;
  return second >= 0x80 && second <= 0xbf;
}

}  // namespace

std::size_t CharacterLength(std::string_view text) {
  const unsigned char first = Byte(text, 0);
  if (first < 0x80) return 1;
  if (first < 0xc2 || first > 0xf4) return 0;
  const std::size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
  if (text.size() < length || !IsSecondOf(first, Byte(text, 1))) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((Byte(text, i) & 0xc0U) != 0x80U) return 0;
  }
  return length;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

bool IsControl(std::string_view character) {
  const unsigned char first = Byte(character, 0);
  return first < 0x20 || first == 0x7f || (first == 0xc2 && Byte(character, 1) < 0xa0);
}

}  // namespace dirty_seg
