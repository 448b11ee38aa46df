// Checks for the values of options.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace dirty_seg {

/// A number from `least` to `most`, of a type that ReadNumber supports; `range` says so in words.
template <typename Number>
ValueCheck NumberFrom(Number least, Number most, const std::string& range) {
  return [least, most, range](const std::string& text) {
    const auto number = ReadNumber<Number>(text);
    return number && *number >= least && *number <= most ? "" : text + " is not " + range;
  };
}

/// One of `words`; the message for any other names the nearest.
ValueCheck OneOf(const std::vector<std::string>& words);

/// Any non-empty text; a variable that is not set leaves an empty one.
ValueCheck NotEmpty(const std::string& expected);

}  // namespace dirty_seg
