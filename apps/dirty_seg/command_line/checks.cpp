#include "command_line/checks.h"

#include <algorithm>

#include "base/nearest.h"
#include "base/text.h"

namespace dirty_seg {

ValueCheck OneOf(const std::vector<std::string>& words) {
  return [words](const std::string& text) -> std::string {
    if (std::find(words.begin(), words.end(), text) != words.end()) return "";
    return text + " is not one of " + Join(words, ", ") + DidYouMean(text, words);
  };
}

ValueCheck NotEmpty(const std::string& expected) {
  return [expected](const std::string& text) {
    return text.empty() ? "the text is empty; expected " + expected : "";
  };
}

}  // namespace dirty_seg
