#include "engine/runtime_words.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <optional>
#include <string_view>

namespace nuvik::alg::common {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

struct Range {
  std::size_t begin;
  std::size_t end;
};

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

bool IsSourceFile(std::string_view file) {
  constexpr std::array<std::string_view, 4> kEndings{".cc", ".h", ".cpp", ".hpp"};
  return file.find('/') != kNone &&
         std::any_of(kEndings.begin(), kEndings.end(), [file](std::string_view ending) {
           return file.size() > ending.size() && file.substr(file.size() - ending.size()) == ending;
         });
}

// "/build/onnxruntime/core/x.cc:12 ", from `from` on.
std::optional<Range> FindPlace(std::string_view text, std::size_t from) {
  for (std::size_t colon = text.find(':', from); colon != kNone;
       colon = text.find(':', colon + 1)) {
    std::size_t end = colon + 1;
    while (end < text.size() && IsDigit(text[end])) ++end;
    if (end == colon + 1 || end == text.size() || text[end] != ' ') continue;
    const std::size_t before = colon == 0 ? kNone : text.find_last_of(" \n:", colon - 1);
    const std::size_t begin = before == kNone ? 0 : before + 1;
    if (IsSourceFile(text.substr(begin, colon - begin))) return Range{begin, end + 1};
  }
  return std::nullopt;
}

// The place after the bracket that closes the one at `open`; the end if none does.
std::size_t BehindBracket(std::string_view text, std::size_t open) {
  int depth = 0;
  for (std::size_t i = open; i < text.size(); ++i) {
    if (text[i] == '(' || text[i] == '[') ++depth;
    if (text[i] == ')' || text[i] == ']') --depth;
    if (depth == 0) return i + 1;
  }
  return text.size();
}

// Behind "common::Status onnxruntime::Function(int) const [with T = float] ".
std::size_t BehindFunction(std::string_view text, std::size_t begin) {
  std::size_t end = text.find('(', begin);
  if (end == kNone) return begin;
  while (end < text.size() && text[end] != ' ' && text[end] != '\n') {
    end = text[end] == '(' ? BehindBracket(text, end) : end + 1;
  }
  constexpr std::string_view kConst = " const";
  if (text.substr(end, kConst.size()) == kConst) end += kConst.size();
  if (text.substr(end, 6) == " [with") end = BehindBracket(text, end + 1);
  return end < text.size() && text[end] == ' ' ? end + 1 : end;
}

// Behind "a == b was false. ", where more follows.
std::size_t BehindCondition(std::string_view text, std::size_t begin) {
  constexpr std::string_view kFalse = " was false. ";
  const std::size_t found = text.find(kFalse, begin);
  const std::size_t end = found == kNone ? kNone : found + kFalse.size();
  if (end >= text.size() || text[end] == '\n') return begin;
  const std::string_view condition = text.substr(begin, found - begin);
  const bool is_one = condition.find('\n') == kNone && condition.find(". ") == kNone;
  return is_one ? end : begin;
}

}  // namespace

std::string PlainWords(const std::string& text) {
  std::string kept;
  std::size_t from = 0;
  while (const std::optional<Range> place = FindPlace(text, from)) {
    kept += text.substr(from, place->begin - from);
    from = BehindCondition(text, BehindFunction(text, place->end));
  }
  kept += text.substr(from);
  kept.erase(kept.find_last_not_of(" \n") + 1);
  return kept;
}

}  // namespace nuvik::alg::common
