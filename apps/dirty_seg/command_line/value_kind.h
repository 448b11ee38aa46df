// What kind of value an option has, by its type name in the help.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace dirty_seg {

enum class ValueKind {
  kNone,     // a flag
  kText,     // anything else: N, IDS
  kFile,     // a name with an extension, FILE or PICTURE: SEG.onnx
  kFolder,   // DIR
  kChoice,   // words separated by |: text|json
  kCommand,  // a command of the program: COMMAND
};

ValueKind KindOf(const Option& option);

/// The words of a choice.
std::vector<std::string> ChoicesOf(const Option& option);

/// All options except --help and positional ones.
std::vector<Option> FlagsOf(const Command& command);

/// "--threads", the long name if there is one.
std::string FlagName(const Option& option);

}  // namespace dirty_seg
