#include "base/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

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

}  // namespace dirty_seg
