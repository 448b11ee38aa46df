// Pieces of text that messages are made of.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace dirty_seg {

/// `texts` one after the other, with `separator` between.
std::string Join(const std::vector<std::string>& texts, std::string_view separator = ", ");

/// What `text_of` makes of each of `items`, with `separator` between.
template <typename Items, typename TextOf>
std::string JoinEach(const Items& items, const TextOf& text_of, std::string_view separator = ", ") {
  std::vector<std::string> texts;
  texts.reserve(items.size());
  for (const auto& item : items) texts.push_back(text_of(item));
  return Join(texts, separator);
}

/// `text` with its ASCII letters in lower case.
std::string Lower(std::string text);

/// "1 frame", "2 frames".
std::string Counted(std::size_t count, std::string_view noun);

/// `text` without line breaks at its end, and with a space for any other control character.
std::string OneLine(std::string text);

/// `word` as it is typed for a shell: in quotes where that would take it apart.
std::string ShellWord(const std::string& word);

}  // namespace dirty_seg
