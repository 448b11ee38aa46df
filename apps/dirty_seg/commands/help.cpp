#include "commands/help.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

namespace dirty_seg {
namespace {

constexpr std::size_t kColumn = 29;

class CompactFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode /*mode*/) const override {
    return make_description(app) + make_usage(app, std::move(name)) + make_positionals(app) +
           OptionLines(app) + make_footer(app);
  }

  std::string make_positionals(const CLI::App* app) const override {
    std::string lines;
    for (const CLI::Option* option : app->get_options(
             [](const CLI::Option* candidate) { return candidate->get_positional(); })) {
      lines += Line(option->get_name(true), option->get_description());
    }
    return lines;
  }

 private:
  static std::string OptionLines(const CLI::App* app) {
    std::string lines;
    for (const std::string& group : app->get_groups()) {
      if (group.empty()) continue;  // hidden
      const std::vector<const CLI::Option*> options =
          app->get_options([&group](const CLI::Option* option) {
            return option->nonpositional() && option->get_group() == group;
          });
      lines += group == "Options" ? LineEach(options) : OneLine(group, options);
    }
    return lines;
  }

  static std::string NameOf(const CLI::Option* option) {
    const bool has_value = option->get_type_size() != 0;
    return option->get_name(false, true) + (has_value ? " " + option->get_type_name() : "");
  }

  static std::string LineEach(const std::vector<const CLI::Option*>& options) {
    std::string lines;
    for (const CLI::Option* option : options) {
      lines += Line(NameOf(option), option->get_description());
    }
    return lines;
  }

  static std::string OneLine(const std::string& description,
                             const std::vector<const CLI::Option*>& options) {
    std::string names;
    for (const CLI::Option* option : options) names += (names.empty() ? "" : " ") + NameOf(option);
    return options.empty() ? "" : Line(names, description);
  }

  static std::string Line(const std::string& names, const std::string& description) {
    std::string line = "  " + names + "  ";
    if (line.size() < kColumn) line.resize(kColumn, ' ');
    return line + description + "\n";
  }
};

}  // namespace

void UseCompactHelp(CLI::App& command) { command.formatter(std::make_shared<CompactFormatter>()); }

}  // namespace dirty_seg
