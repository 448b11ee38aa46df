#include "base/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace dirty_seg {

std::string Join(const std::vector<std::string>& texts, std::string_view separator) {
  return fmt::format("{}", fmt::join(texts, separator));
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string Counted(std::size_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string OneLine(std::string text) {
  text.erase(text.find_last_not_of('\n') + 1);
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20U; }, ' ');
  return text;
}

std::string ShellWord(const std::string& word) {
  const bool is_plain = std::all_of(word.begin(), word.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || std::strchr("/._-+=", c) != nullptr;
  });
  if (is_plain) return word;
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace dirty_seg
