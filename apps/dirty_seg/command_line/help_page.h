// Layout of --help: every command's page fits a screen of 80 columns and 24 lines.
#pragma once

#include <string>

#include "command_line/command_line.h"

namespace dirty_seg {

/// The program's own options, and its commands.
std::string HelpPage(const Program& program);

/// One line per option, without headings and blank lines, and without the conditions of options:
/// error messages name those. Options of a group share one line, with the group's name as their
/// description.
std::string HelpPage(const Program& program, const Command& command);

}  // namespace dirty_seg
