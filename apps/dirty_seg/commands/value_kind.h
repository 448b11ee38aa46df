// What an option's value is, as its type name in the help tells.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace dirty_seg {

enum class ValueKind {
  kNone,     // a flag
  kText,     // anything else: N, IDS
  kFile,     // a name with an ending, FILE or PICTURE: SEG.onnx
  kFolder,   // DIR
  kChoice,   // words with | between them: text|json
  kCommand,  // one of the program's: the argument COMMAND
};

ValueKind KindOf(const CLI::Option& option);

/// The words of a choice.
std::vector<std::string> ChoicesOf(const CLI::Option& option);

/// Options that a person may give, without --help. Positional ones are not among them.
std::vector<CLI::Option*> FlagsOf(CLI::App& command);

/// "--threads", the long name where there is one.
std::string FlagName(const CLI::Option& option);

}  // namespace dirty_seg
