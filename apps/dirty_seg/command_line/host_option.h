// --host: a file of options, for any command.
#pragma once

#include "command_line/command_line.h"

namespace dirty_seg {

/// Adds --host HOST.yaml to a command of `program` if it has other options.
///
/// The file has the long flags of all commands as keys, without dashes. A key at the top serves
/// every command that has such an option, a key below a command's name only that command, with
/// precedence. Options on the command line are not changed. A relative path starts at the file's
/// own folder. Parsing throws SetupError, naming file, line, key and the nearest known one,
/// for a key that no command has and for a value that the option refuses.
///
/// (CLI11 reads its own kind of configuration file for the program, never for one command.)
void AddHostOption(const Program& program, Command command);

}  // namespace dirty_seg
