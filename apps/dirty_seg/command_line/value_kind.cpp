#include "command_line/value_kind.h"

#include <algorithm>
#include <sstream>

namespace dirty_seg {

ValueKind KindOf(const Option& option) {
  if (!option.has_value()) return ValueKind::kNone;
  const std::string type = option.type_name();
  if (type.find('|') != std::string::npos) return ValueKind::kChoice;
  if (option.positional_name() == "COMMAND") return ValueKind::kCommand;
  if (type == "DIR") return ValueKind::kFolder;
  const bool is_file =
      type.find('.') != std::string::npos || type == "FILE" || type == "PICTURE" || type == "PATH";
  return is_file ? ValueKind::kFile : ValueKind::kText;
}

std::vector<std::string> ChoicesOf(const Option& option) {
  std::vector<std::string> choices;
  std::istringstream type(option.type_name());
  for (std::string choice; std::getline(type, choice, '|');) choices.push_back(choice);
  return choices;
}

std::vector<Option> FlagsOf(const Command& command) {
  std::vector<Option> flags = command.options();
  const Option help = command.option("--help");
  const auto is_other = [&](const Option& each) { return each.flags().empty() || each == help; };
  flags.erase(std::remove_if(flags.begin(), flags.end(), is_other), flags.end());
  return flags;
}

std::string FlagName(const Option& option) {
  const std::vector<std::string> flags = option.flags();
  const auto is_long = [](const std::string& flag) { return flag.rfind("--", 0) == 0; };
  const auto found = std::find_if(flags.begin(), flags.end(), is_long);
  return found == flags.end() ? flags.at(0) : *found;
}

}  // namespace dirty_seg
