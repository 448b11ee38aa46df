#include "commands/help_formatter.h"

#include <CLI/CLI.hpp>
#include <utility>
#include <vector>

namespace dirty_seg {
namespace {

constexpr std::size_t kColumn = 29;

// Further lines of the description stand under its first.
std::string Line(const std::string& names, const std::string& description) {
  std::string line = "  " + names + "  ";
  if (line.size() < kColumn) line.resize(kColumn, ' ');
  for (const char c : description) {
    line += c;
    if (c == '\n') line.append(kColumn, ' ');
  }
  return line + "\n";
}

}  // namespace

HelpFormatter::HelpFormatter() { column_width(kColumn); }

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode mode) const {
  if (!app->get_subcommands({}).empty()) {
    return CLI::Formatter::make_help(app, std::move(name), mode);
  }
  std::string lines =
      make_description(app) + make_usage(app, std::move(name)) + make_positionals(app);
  for (const std::string& group : app->get_groups()) {
    if (group.empty()) continue;  // hidden
    std::string names;
    for (const CLI::Option* option : app->get_options()) {
      if (!option->nonpositional() || option->get_group() != group) continue;
      const std::string text = option->get_name(false, true) + make_option_opts(option);
      if (group == "Options") {
        lines += Line(text, option->get_description());
      } else {
        names += (names.empty() ? "" : "  ") + text;
      }
    }
    if (!names.empty()) lines += Line(names, group);
  }
  return lines + make_footer(app);
}

std::string HelpFormatter::make_positionals(const CLI::App* app) const {
  std::string lines;
  for (const CLI::Option* option : app->get_options()) {
    // One that has a flag too stands among the options.
    if (!option->get_positional() || option->nonpositional()) continue;
    lines += Line(option->get_name(true) + make_option_opts(option), option->get_description());
  }
  return lines;
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  if (option->get_type_size() == 0 || option->get_type_name().empty()) return "";
  return " " + option->get_type_name();
}

}  // namespace dirty_seg
