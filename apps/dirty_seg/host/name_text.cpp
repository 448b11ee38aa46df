#include "host/name_text.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "host/base64.h"

namespace dirty_seg {
namespace {

// Of 255 bytes that a name may have.
constexpr std::size_t kMostStem = 180;

unsigned char Byte(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

// Whether the second byte goes with the first: no character has two forms, none is half of a
// surrogate pair, none is beyond U+10FFFF.
bool IsSecondOf(unsigned char first, unsigned char second) {
  if (first == 0xe0) return second >= 0xa0 && second <= 0xbf;
  if (first == 0xed) return second >= 0x80 && second <= 0x9f;
  if (first == 0xf0) return second >= 0x90 && second <= 0xbf;
  if (first == 0xf4) return second >= 0x80 && second <= 0x8f;
  return second >= 0x80 && second <= 0xbf;
}

// Bytes of the character that the text begins with; 0 where that is not UTF-8.
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

// U+0000 to U+001F, and U+007F to U+009F.
bool IsControl(std::string_view character) {
  const unsigned char first = Byte(character, 0);
  return first < 0x20 || first == 0x7f || (first == 0xc2 && Byte(character, 1) < 0xa0);
}

std::string Escaped(std::string_view bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::array<char, 4> escape{};
    std::snprintf(escape.data(), escape.size(), "%%%02X", Byte(bytes, i));
    text += escape.data();
  }
  return text;
}

}  // namespace

void PutName(const std::string& key, const std::string& name, nlohmann::ordered_json& json) {
  json[key] = name;
  if (!IsUtf8(name)) json[key + "_bytes"] = Base64({name.begin(), name.end()});
}

std::string PlainStem(const std::string& path) {
  const std::string stem = std::filesystem::path(path).stem().string();
  std::string plain;
  for (std::string_view rest = stem; !rest.empty();) {
    const std::size_t length = CharacterLength(rest);
    const std::string_view character = rest.substr(0, length == 0 ? 1 : length);
    const bool is_plain = length > 0 && !IsControl(character);
    const std::string next = is_plain ? std::string(character) : Escaped(character);
    if (plain.size() + next.size() > kMostStem) break;
    plain += next;
    rest.remove_prefix(character.size());
  }
  return plain;
}

}  // namespace dirty_seg
