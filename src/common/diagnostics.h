// The engine's one way of saying what went wrong.
#pragma once

#include <string>

namespace nuvik {

/// `text` on one line and as a terminal only shows it: a line break becomes a space, any other
/// control character, C1 in UTF-8 among them, "\\x1b".
inline std::string PrintableLine(const std::string& text) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
    const bool begins_c1 = byte == 0xc2 && next >= 0x80 && next < 0xa0;
    const auto before = static_cast<unsigned char>(i > 0 ? text[i - 1] : '\0');
    const bool ends_c1 = byte >= 0x80 && byte < 0xa0 && before == 0xc2;
    if (text[i] == '\n') {
      line += ' ';
    } else if (byte < 0x20 || byte == 0x7f || begins_c1 || ends_c1) {
      line += {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xfU]};
    } else {
      line += text[i];
    }
  }
  return line;
}

/// Writes one line to standard error, as the engine's. A module that is linked with another
/// definition of it has that one called instead.
void PrintError(const std::string& text);

}  // namespace nuvik
