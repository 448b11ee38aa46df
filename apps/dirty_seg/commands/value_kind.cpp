#include "commands/value_kind.h"

#include <CLI/CLI.hpp>

namespace dirty_seg {

ValueKind KindOf(const CLI::Option& option) {
  if (option.get_expected_min() == 0) return ValueKind::kNone;
  const std::string type = option.get_type_name();
  if (type.find('|') != std::string::npos) return ValueKind::kChoice;
  if (option.get_positional() && option.get_name(true) == "COMMAND") return ValueKind::kCommand;
  if (type == "DIR") return ValueKind::kFolder;
  const bool is_file =
      type.find('.') != std::string::npos || type == "FILE" || type == "PICTURE" || type == "PATH";
  return is_file ? ValueKind::kFile : ValueKind::kText;
}

std::vector<std::string> ChoicesOf(const CLI::Option& option) {
  return CLI::detail::split(option.get_type_name(), '|');
}

std::vector<CLI::Option*> FlagsOf(CLI::App& command) {
  return command.get_options([&command](const CLI::Option* option) {
    return option->nonpositional() && option != command.get_help_ptr();
  });
}

std::string FlagName(const CLI::Option& option) {
  const std::vector<std::string>& names = option.get_lnames();
  return names.empty() ? "-" + option.get_snames().at(0) : "--" + names[0];
}

}  // namespace dirty_seg
