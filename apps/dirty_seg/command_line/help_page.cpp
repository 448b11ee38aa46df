#include "command_line/help_page.h"

#include <algorithm>
#include <vector>

#include "base/text.h"

namespace dirty_seg {
namespace {

constexpr std::size_t kColumn = 29;

// Further lines of the description are aligned with its first.
std::string Line(const std::string& names, const std::string& description) {
  std::string line = "  " + names + "  ";
  if (line.size() < kColumn) line.resize(kColumn, ' ');
  for (const char c : description) {
    line += c;
    if (c == '\n') line.append(kColumn, ' ');
  }
  return line + "\n";
}

std::string WithType(const std::string& name, const Option& option) {
  const std::string type = option.type_name();
  return name + (type.empty() ? "" : " " + type);
}

std::string Names(const Option& option) { return WithType(Join(option.flags(), ","), option); }

// "INPUT...", in brackets if optional.
std::string UsageOf(const Option& argument) {
  const std::string usage =
      argument.positional_name() + (argument.has_several_values() ? "..." : "");
  return argument.is_required() ? usage : "[" + usage + "]";
}

std::string UsageLine(const std::string& words) { return "Usage: " + words + "\n"; }

std::string UsageLine(const Program& program, const Command& command) {
  std::string words = program.name() + " " + command.name() + " [OPTIONS]";
  for (const Option& option : command.options()) {
    if (!option.positional_name().empty()) words += " " + UsageOf(option);
  }
  return UsageLine(words);
}

// One that also has a flag is listed with the options.
std::string ArgumentLines(const Command& command) {
  std::string lines;
  for (const Option& option : command.options()) {
    if (!option.flags().empty()) continue;
    lines += Line(WithType(option.positional_name(), option), option.description());
  }
  return lines;
}

std::string OptionLines(const Command& command) {
  std::string lines;
  for (const Option& option : command.options()) {
    if (option.flags().empty() || !option.group().empty()) continue;
    lines += Line(Names(option), option.description());
  }
  return lines;
}

std::vector<std::string> GroupsOf(const Command& command) {
  std::vector<std::string> groups;
  for (const Option& option : command.options()) {
    const std::string group = option.group();
    const bool is_known = std::find(groups.begin(), groups.end(), group) != groups.end();
    if (!group.empty() && !is_known) groups.push_back(group);
  }
  return groups;
}

std::string GroupLines(const Command& command) {
  std::string lines;
  for (const std::string& group : GroupsOf(command)) {
    std::vector<std::string> names;
    for (const Option& option : command.options()) {
      if (option.group() == group) names.push_back(Names(option));
    }
    lines += Line(Join(names, "  "), group);
  }
  return lines;
}

std::string CommandLines(const Program& program) {
  std::string lines;
  for (const Command& command : program.commands()) {
    lines += Line(command.name(), command.description());
  }
  return lines;
}

}  // namespace

std::string HelpPage(const Program& program) {
  return program.description() + "\n" + UsageLine(program.name() + " [OPTIONS] SUBCOMMAND") +
         "\nOptions:\n" + OptionLines(program) + "\nSubcommands:\n" + CommandLines(program) + "\n" +
         program.footer() + "\n";
}

std::string HelpPage(const Program& program, const Command& command) {
  return command.description() + "\n" + UsageLine(program, command) + ArgumentLines(command) +
         OptionLines(command) + GroupLines(command) + command.footer() + "\n";
}

}  // namespace dirty_seg
