// What an option's value is, as its type name in the help tells.
#pragma once

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace dirty_seg {

enum class ValueKind {
  kNone,     // a flag
  kText,     // anything else: N, IDS
  kFile,     // a name with an ending, FILE or PICTURE: SEG.onnx
  kFolder,   // DIR
  kChoice,   // words with | between them: text|json
  kCommand,  // one of the program's: the argument COMMAND
};

ValueKind KindOf(const Option& option);

/// The words of a choice.
std::vector<std::string> ChoicesOf(const Option& option);

/// Options that a person may give, without --help. Positional ones are not among them.
std::vector<Option> FlagsOf(const Command& command);

/// "--threads", the long name where there is one.
std::string FlagName(const Option& option);

}  // namespace dirty_seg
