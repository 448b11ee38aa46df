// The folder that a command writes into: one of the user's, or the next of its own.
#pragma once

#include <string>

namespace dirty_seg {

/// Makes the folder and those above it where they are missing. Unless `overwrite`, a folder that
/// has anything in it is refused. Throws SetupError, naming --output and the cause.
void MakeRunFolder(const std::string& path, bool overwrite);

/// Makes the first of runs/COMMAND, runs/COMMAND2, runs/COMMAND3, ... that is not there yet, in the
/// working directory, and returns it. Two processes never get the same. Throws SetupError.
std::string MakeNumberedRunFolder(const std::string& command);

}  // namespace dirty_seg
