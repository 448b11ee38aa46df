// What is said to whoever mistypes.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace dirty_seg {

/// Why parsing ended.
struct UsageFault {
  std::string text;
  /// Something that is required was not given.
  bool is_missing = false;
  /// Words that nothing took, as far as parsing went.
  std::vector<std::string> left_over;
};

/// The cause in words, with the nearest word that is known, and the help that tells the usage.
std::string Complaint(const Program& program, const UsageFault& fault);

/// "'detcet' is not a command; did you mean 'detect'?"
std::string NoSuchCommand(const Program& program, const std::string& word);

}  // namespace dirty_seg
