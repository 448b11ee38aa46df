// dirty_seg: finds dirty regions in pictures, with the detector library.
#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "commands/compare.h"
#include "commands/detect.h"
#include "commands/dump.h"
#include "host/errors.h"
#include "host/messages.h"

namespace dirty_seg {
namespace {

// Runs the command that the command line named; returns the exit status.
using Action = std::function<int()>;

template <typename Options>
void Add(CLI::App& app, CLI::App* (*add)(CLI::App&, Options&), int (*run)(const Options&),
         Action& action) {
  const auto options = std::make_shared<Options>();
  add(app, *options)->callback([=, &action] { action = [=] { return run(*options); }; });
}

// The usage that helps with what was typed: that of the command, once it is known.
std::string HelpOf(const CLI::App& app) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  return commands.empty() ? "dirty_seg --help" : "dirty_seg " + commands[0]->get_name() + " --help";
}

int Execute(int argc, char** argv) {
  CLI::App app("Finds dirty regions in pictures", "dirty_seg");
  app.set_version_flag("--version", "dirty_seg " DIRTY_SEG_VERSION);
  app.require_subcommand(1);
  Action action;
  Add(app, AddDetect, RunDetect, action);
  Add(app, AddCompare, RunCompare, action);
  Add(app, AddDump, RunDump, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // help or version
    TellError(std::string(error.what()) + "; '" + HelpOf(app) + "' shows the usage");
    return kCannotRun;
  }
  return action();
}

}  // namespace
}  // namespace dirty_seg

int main(int argc, char** argv) try {
  return dirty_seg::Execute(argc, argv);
} catch (const std::exception& error) {
  dirty_seg::TellError(error.what());
  return dirty_seg::kCannotRun;
}
