#include "commands/help_formatter.h"

#include <CLI/CLI.hpp>

namespace dirty_seg {

HelpFormatter::HelpFormatter() { column_width(32); }

std::string HelpFormatter::make_positionals(const CLI::App* app) const {
  std::string text;
  for (const CLI::Option* option : app->get_options()) {
    // One that has a flag too stands among the options.
    if (option->get_positional() && !option->nonpositional()) text += make_option(option, true);
  }
  return text;
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  if (option->get_type_size() == 0) return "";
  std::string text = option->get_type_name().empty() ? "" : " " + option->get_type_name();
  if (option->get_expected_max() == CLI::detail::expected_max_vector_size) text += " ...";
  return option->get_required() && option->nonpositional() ? text + " REQUIRED" : text;
}

}  // namespace dirty_seg
