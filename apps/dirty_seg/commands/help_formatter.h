// The look of --help: every command's fits a screen of 80 columns and 24 lines.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <string>

namespace dirty_seg {

/// CLI11's own without a heading over positional arguments, and without the conditions of options:
/// a refusal tells them.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();
  std::string make_positionals(const CLI::App* app) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
};

}  // namespace dirty_seg
