#include "command_line/complaint.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "base/nearest.h"
#include "command_line/foreign_options.h"
#include "command_line/value_kind.h"

namespace dirty_seg {
namespace {

bool Has(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

std::vector<std::string> FlagNames(const Command& command) {
  std::vector<std::string> names{"--help"};
  for (const Option& option : FlagsOf(command)) names.push_back(FlagName(option));
  return names;
}

std::string UnknownOption(const Program& program, const Command& command, const std::string& word) {
  const std::vector<std::string> flags = FlagNames(command);
  std::string place = Has(flags, "--config") ? HintForForeignOption(word, flags) : "";
  if (!place.empty()) return place;
  if (Has(flags, word)) {
    return fmt::format("{0} belongs after the command, as in '{1} {2} {0}'", word, program.name(),
                       command.name());
  }
  return "The following argument was not expected: " + word +
         DidYouMean(word.substr(0, word.find('=')), flags);
}

// A host file can replace these options.
std::string Missing(const Program& program, const UsageFault& fault) {
  const bool is_in_host_file =
      fault.text.rfind("--model ", 0) == 0 || fault.text.rfind("--config ", 0) == 0;
  if (!is_in_host_file || !fault.is_missing) return fault.text;
  return fmt::format("{}; '{} init SEG.onnx' writes a host file that has it, for --host HOST.yaml",
                     fault.text, program.name());
}

// An unknown word is the cause, even if the parser complains of what is missing because of it.
std::string Cause(const Program& program, const std::optional<Command>& command,
                  const UsageFault& fault) {
  for (const std::string& word : fault.left_over) {
    if (word.size() > 1 && word[0] == '-') {
      return UnknownOption(program, command.value_or(program), word);
    }
    if (!command) return NoSuchCommand(program, word);
  }
  return Missing(program, fault);
}

}  // namespace

std::string Complaint(const Program& program, const UsageFault& fault) {
  // The usage of the command, once it is known.
  const std::optional<Command> command = program.chosen();
  return fmt::format("{}; '{}{} --help' shows the usage", Cause(program, command, fault),
                     program.name(), command ? " " + command->name() : "");
}

std::string NoSuchCommand(const Program& program, const std::string& word) {
  return fmt::format("'{}' is not a command{}", word, DidYouMean(word, program.command_names()));
}

}  // namespace dirty_seg
