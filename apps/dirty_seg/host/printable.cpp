#include "host/printable.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace dirty_seg {
namespace {

// A sequence of `length` bytes codes at least `least` in UTF-8; less is a longer way to write it.
struct Form {
  unsigned char mask;
  unsigned char lead;
  std::size_t length;
  std::uint32_t least;
};
constexpr std::array<Form, 4> kForms{
    {{0x80, 0x00, 1, 0}, {0xe0, 0xc0, 2, 0x80}, {0xf0, 0xe0, 3, 0x800}, {0xf8, 0xf0, 4, 0x10000}}};

bool IsCharacter(std::uint32_t code) {
  const bool is_surrogate = code >= 0xd800 && code < 0xe000;
  return code <= 0x10ffff && !is_surrogate;
}

// C0, DEL and C1, which terminals take for C0's with an escape before it.
bool IsControl(std::uint32_t code) { return code < 0x20 || (code >= 0x7f && code < 0xa0); }

// Length of the character that `text` begins with; 0 where it is none that may be shown.
std::size_t ShownLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  for (const Form& form : kForms) {
    if ((first & form.mask) != form.lead) continue;
    if (text.size() < form.length) return 0;
    std::uint32_t code = first & static_cast<unsigned char>(~form.mask);
    for (std::size_t i = 1; i < form.length; ++i) {
      const auto next = static_cast<unsigned char>(text[i]);
      if ((next & 0xc0U) != 0x80U) return 0;
      code = code << 6U | (next & 0x3fU);
    }
    const bool is_shown = code >= form.least && IsCharacter(code) && !IsControl(code);
    return is_shown ? form.length : 0;
  }
  return 0;
}

std::string Escaped(char c) {
  if (c == '\n') return "\\n";
  if (c == '\t') return "\\t";
  constexpr const char* kDigits = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  return {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xfU]};
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = ShownLength(text);
    if (length == 0) {
      shown += Escaped(text[0]);
      text.remove_prefix(1);
    } else {
      shown += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return shown;
}

std::string PrintableLines(std::string_view text) {
  std::string shown;
  for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
    shown += Printable(text.substr(0, end)) + "\n";
    text.remove_prefix(end + 1);
  }
  return shown + Printable(text);
}

}  // namespace dirty_seg
