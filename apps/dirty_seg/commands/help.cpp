#include "commands/help.h"

#include <CLI/CLI.hpp>
#include <vector>

#include "base/errors.h"
#include "base/nearest.h"
#include "files/text_stream.h"

namespace dirty_seg {
namespace {

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* /*any*/) { return true; });
}

const CLI::App& FindCommand(const CLI::App& app, const std::string& name) {
  for (const CLI::App* command : CommandsOf(app)) {
    if (command->get_name() == name) return *command;
  }
  throw SetupError(NoSuchCommand(app, name) + "; 'dirty_seg --help' shows the usage");
}

}  // namespace

std::string NoSuchCommand(const CLI::App& app, const std::string& word) {
  std::vector<std::string> names;
  for (const CLI::App* command : CommandsOf(app)) names.push_back(command->get_name());
  return "'" + word + "' is no command" + DidYouMean(word, names);
}

CLI::App* AddHelp(CLI::App& app, HelpOptions& options) {
  options.program = &app;
  CLI::App* command = app.add_subcommand("help", "Show how a command is used");
  command->add_option("COMMAND", options.command, "Whose usage; that of all without it")
      ->type_name("");
  command->footer(
      "Example:\n"
      "  dirty_seg help detect\n"
      "Exit status:\n"
      "  0 always, but 2 for bad usage");
  return command;
}

int RunHelp(const HelpOptions& options) {
  const CLI::App& program = *options.program;
  const bool is_of_program = options.command.empty();
  const CLI::App& shown = is_of_program ? program : FindCommand(program, options.command);
  const std::string name = program.get_name() + (is_of_program ? "" : " " + options.command);
  PrintResult(shown.get_formatter()->make_help(&shown, name, CLI::AppFormatMode::Normal),
              "the help");
  return kAllDone;
}

}  // namespace dirty_seg
