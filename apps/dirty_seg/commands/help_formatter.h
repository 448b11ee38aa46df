// The look of --help: every command's fits a screen of 80 columns and 24 lines.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <string>

namespace dirty_seg {

/// One line an option, without headings and blank lines, and without the conditions of options: a
/// refusal tells them. Options of one group of their own stand on one line, before what the group's
/// name says of them.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
  std::string make_positionals(const CLI::App* app) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
};

}  // namespace dirty_seg
