// The look of --help: every command's fits a screen of 80 columns and 24 lines.
#pragma once

#include <string>

#include "command_line/command_line.h"

namespace dirty_seg {

/// The program's own options, and its commands.
std::string HelpPage(const Program& program);

/// One line an option, without headings and blank lines, and without the conditions of options: a
/// refusal tells them. Options of one group of their own stand on one line, before what the group's
/// name says of them.
std::string HelpPage(const Program& program, const Command& command);

}  // namespace dirty_seg
