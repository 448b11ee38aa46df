// Help that fits a screen.
#pragma once

#include <CLI/App.hpp>

namespace dirty_seg {

/// One line an option, without headings and blank lines. Options of one group of their own stand
/// together, before what the group's name says of them.
void UseCompactHelp(CLI::App& command);

}  // namespace dirty_seg
