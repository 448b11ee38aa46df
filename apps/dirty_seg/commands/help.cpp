#include "commands/help.h"

#include "base/errors.h"
#include "command_line/complaint.h"
#include "command_line/help_page.h"
#include "files/text_stream.h"

namespace dirty_seg {
namespace {

std::string PageOf(const Program& program, const std::string& name) {
  for (const Command& command : program.commands()) {
    if (command.name() == name) return HelpPage(program, command);
  }
  throw SetupError(NoSuchCommand(program, name) + "; 'dirty_seg --help' shows the usage");
}

}  // namespace

Command AddHelp(Program& program, HelpOptions& options) {
  options.program = &program;
  Command command = program.AddCommand("help", "Show how a command is used");
  command.AddOption("COMMAND", &options.command, "Command to explain (default: all)").TypeName("");
  command.Footer(
      "Example:\n"
      "  dirty_seg help detect\n"
      "Exit status:\n"
      "  0, or 2 for bad usage");
  return command;
}

int RunHelp(const HelpOptions& options) {
  const Program& program = *options.program;
  PrintResult(options.command.empty() ? HelpPage(program) : PageOf(program, options.command),
              "the help");
  return kAllDone;
}

}  // namespace dirty_seg
