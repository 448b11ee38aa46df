#include "base/printable.h"

#include <fmt/format.h>

#include <cstddef>

#include "base/utf8.h"

namespace dirty_seg {
namespace {

// Length of the first character of `text`; 0 if it must be escaped.
std::size_t ShownLength(std::string_view text) {
  const std::size_t length = CharacterLength(text);
  return length > 0 && IsControl(text.substr(0, length)) ? 0 : length;
}

std::string Escaped(char c) {
  if (c == '\n') return "\\n";
  if (c == '\t') return "\\t";
  return fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
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
