// dirty_seg: finds dirty regions in pictures, with the detector library.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "base/errors.h"
#include "base/nearest.h"
#include "base/version.h"
#include "commands/bench.h"
#include "commands/check.h"
#include "commands/compare.h"
#include "commands/completion.h"
#include "commands/detect.h"
#include "commands/dump.h"
#include "commands/env.h"
#include "commands/foreign_options.h"
#include "commands/help.h"
#include "commands/help_formatter.h"
#include "commands/host_option.h"
#include "commands/init.h"
#include "commands/inspect.h"
#include "commands/report.h"
#include "commands/value_kind.h"
#include "console/messages.h"
#include "files/text_stream.h"

namespace dirty_seg {
namespace {

// Runs the command that the command line named; returns the exit status.
using Action = std::function<int()>;

template <typename Options>
void Add(CLI::App& app, CLI::App* (*add)(CLI::App&, Options&), int (*run)(const Options&),
         Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = add(app, *options);
  command->callback([=, &action] { action = [=] { return run(*options); }; });
  command->get_help_ptr()->description("Show this");
  AddHostOption(*command);
}

// The usage that helps with what was typed: that of the command, once it is known.
std::string HelpOf(const CLI::App& app) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  return commands.empty() ? "dirty_seg --help" : "dirty_seg " + commands[0]->get_name() + " --help";
}

std::vector<std::string> FlagNames(CLI::App& command) {
  std::vector<std::string> names{"--help"};
  for (const CLI::Option* option : FlagsOf(command)) names.push_back(FlagName(*option));
  return names;
}

std::string UnknownOption(CLI::App& command, const std::string& word) {
  const bool has_config = command.get_option_no_throw("--config") != nullptr;
  std::string place = has_config ? PlaceOfForeignOption(word) : "";
  if (!place.empty()) return place;
  const std::vector<std::string> flags = FlagNames(command);
  if (std::find(flags.begin(), flags.end(), word) != flags.end()) {
    return word + " belongs behind the command, as in 'dirty_seg " + command.get_name() + " " +
           word + "'";
  }
  return "The following argument was not expected: " + word +
         DidYouMean(word.substr(0, word.find('=')), flags);
}

// A newcomer need not type what a host file says.
std::string Missing(const CLI::ParseError& error) {
  std::string text = error.what();
  const bool is_in_host_file = text.rfind("--model ", 0) == 0 || text.rfind("--config ", 0) == 0;
  if (!is_in_host_file || error.get_name() != "RequiredError") return text;
  return text + "; 'dirty_seg init SEG.onnx' writes a host file that has it, for --host HOST.yaml";
}

// A word that nobody knows is the cause, also where CLI11 complains of what is missing for it.
std::string Complaint(CLI::App& app, const CLI::ParseError& error) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  for (const std::string& word : app.remaining(true)) {
    if (word.size() > 1 && word[0] == '-') {
      return UnknownOption(commands.empty() ? app : *commands[0], word);
    }
    if (commands.empty()) return NoSuchCommand(app, word);
  }
  return Missing(error);
}

// Help or version.
int Show(const CLI::App& app, const CLI::ParseError& error) {
  std::ostringstream text;
  app.exit(error, text);
  PrintResult(text.str(), "the help");
  return kAllDone;
}

int Execute(int argc, char** argv) {
  CLI::App app("Finds dirty regions in pictures", "dirty_seg");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", NameAndVersion(), "Show the version");
  app.get_help_ptr()->description("Show this");
  app.require_subcommand(1);
  app.footer(
      "Example:\n"
      "  dirty_seg init seg.onnx fece.onnx --fece-class-ids 0,3\n"
      "  dirty_seg detect --host host.yaml --save photographs\n"
      "  dirty_seg report runs/detect");
  Action action;
  Add(app, AddBench, RunBenchCommand, action);
  Add(app, AddCheck, RunCheck, action);
  Add(app, AddCompare, RunCompare, action);
  Add(app, AddCompletion, RunCompletion, action);
  Add(app, AddDetect, RunDetect, action);
  Add(app, AddDump, RunDump, action);
  Add(app, AddEnv, RunEnv, action);
  Add(app, AddHelp, RunHelp, action);
  Add(app, AddInit, RunInit, action);
  Add(app, AddInspect, RunInspect, action);
  Add(app, AddReport, RunReport, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return Show(app, error);
    TellError(Complaint(app, error) + "; '" + HelpOf(app) + "' shows the usage");
    return kCannotRun;
  }
  return action();
}

}  // namespace
}  // namespace dirty_seg

int main(int argc, char** argv) try {
  return dirty_seg::Execute(argc, argv);
} catch (const dirty_seg::NetworkError& error) {
  dirty_seg::TellOfEngine(error.cause());
  dirty_seg::TellError(error.what());
  return dirty_seg::kCannotRun;
} catch (const std::exception& error) {
  dirty_seg::TellError(error.what());
  return dirty_seg::kCannotRun;
}
