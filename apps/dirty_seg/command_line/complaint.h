// Messages for wrong usage.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace dirty_seg {

/// Why parsing ended.
struct UsageFault {
  std::string text;
  /// A required option or argument is missing.
  bool is_missing = false;
  /// Words that parsing left over.
  std::vector<std::string> left_over;
};

/// The cause, with the nearest known word, and how to see the usage.
std::string Complaint(const Program& program, const UsageFault& fault);

/// "'detcet' is not a command; did you mean 'detect'?"
std::string NoSuchCommand(const Program& program, const std::string& word);

}  // namespace dirty_seg
