// Creates the folder that a command writes into: the user's, or the next numbered one.
#pragma once

#include <string>

namespace dirty_seg {

/// Creates the folder and its parents if they do not exist. Unless `overwrite`, a folder that is
/// not empty is refused. Throws SetupError, naming --output and the cause.
void MakeRunFolder(const std::string& path, bool overwrite);

/// Creates the first of runs/COMMAND, runs/COMMAND2, runs/COMMAND3, ... that does not exist yet, in
/// the working directory, and returns it. Two processes never get the same. Throws SetupError.
std::string MakeNumberedRunFolder(const std::string& command);

}  // namespace dirty_seg
