// Messages to the user: lines on standard error, and below them at most one status line that shows
// progress. All are made printable (printable.h), whatever names they contain.
#pragma once

#include <string>
#include <string_view>

namespace dirty_seg {

/// Only errors are printed from now on, or everything again.
void SetQuiet(bool is_quiet);

/// Prints "dirty_seg: ", `kind`, which is empty or ends in ": ", and `text`.
void PrintMessage(std::string_view text, const char* kind = "");

void PrintWarning(std::string_view text);

void PrintError(std::string_view text);

/// A line of the engine's, as it would write it itself: even when quiet.
void PrintEngineLine(const std::string& line);

/// A line that a library wrote to standard error, as it is: even when quiet.
void PrintForeignLine(const std::string& line);

/// Prints a line without the program's name before it.
void PrintLine(std::string_view text);

/// Replaces the last line of a terminal. Any other message takes its place; empty text removes it.
void ShowStatusLine(std::string_view text);

}  // namespace dirty_seg
