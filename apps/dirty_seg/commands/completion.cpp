#include "commands/completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "base/errors.h"
#include "commands/options.h"
#include "commands/value_kind.h"
#include "files/text_stream.h"

namespace dirty_seg {
namespace {

std::vector<CLI::App*> CommandsOf(CLI::App& program) {
  return program.get_subcommands([](const CLI::App* /*any*/) { return true; });
}

std::string CommandNames(CLI::App& program) {
  std::string names;
  for (const CLI::App* command : CommandsOf(program)) {
    names += (names.empty() ? "" : " ") + command->get_name();
  }
  return names;
}

// Every way to write a flag.
std::vector<std::string> Spellings(const CLI::Option& option) {
  std::vector<std::string> words;
  for (const std::string& name : option.get_snames()) words.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) words.push_back("--" + name);
  return words;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  return CLI::detail::find_and_replace(std::move(text), from, to);
}

// What a positional argument of the command may be; the choices where it is one.
std::string PositionalChoices(CLI::App& command) {
  std::string words;
  for (const CLI::Option* option : command.get_options()) {
    if (option->nonpositional()) continue;
    const ValueKind kind = KindOf(*option);
    if (kind == ValueKind::kChoice) words = CLI::detail::join(ChoicesOf(*option), " ");
    if (kind == ValueKind::kCommand) words = CommandNames(*command.get_parent());
  }
  return words;
}

// ---- bash ---------------------------------------------------------------------------------------

std::string BashReply(const CLI::Option& option) {
  switch (KindOf(option)) {
    case ValueKind::kFile:
      return "_dirty_seg_files";
    case ValueKind::kFolder:
      return "_dirty_seg_folders";
    case ValueKind::kChoice:
      return "_dirty_seg_words '" + CLI::detail::join(ChoicesOf(option), " ") + "'";
    default:
      return "COMPREPLY=()";
  }
}

// The branch of one command: the values of its options, then its options' names.
std::string BashCommand(CLI::App& command) {
  std::string values;
  std::string names = "-h --help";
  for (const CLI::Option* option : FlagsOf(command)) {
    names += " " + CLI::detail::join(Spellings(*option), " ");
    if (KindOf(*option) == ValueKind::kNone) continue;
    values += "        " + CLI::detail::join(Spellings(*option), " | ") + ") " +
              BashReply(*option) + "; return ;;\n";
  }
  const std::string choices = PositionalChoices(command);
  std::string text = "    " + command.get_name() + ")\n";
  if (!values.empty()) text += "      case $previous in\n" + values + "      esac\n";
  text += "      if [[ $current == -* ]]; then _dirty_seg_words '" + names + "'\n";
  text += choices.empty() ? "      else _dirty_seg_files\n"
                          : "      else _dirty_seg_words '" + choices + "'\n";
  return text + "      fi ;;\n";
}

// ---- zsh ----------------------------------------------------------------------------------------

std::string ZshText(const std::string& text) {
  std::string quoted = Replaced(Replaced(text, "\n", " "), "'", "'\\''");
  for (const char* special : {"[", "]", ":"}) {
    quoted = Replaced(quoted, special, std::string("\\") + special);
  }
  return quoted;
}

std::string ZshAction(const CLI::Option& option) {
  switch (KindOf(option)) {
    case ValueKind::kFile:
      return "_files";
    case ValueKind::kFolder:
      return "_files -/";
    case ValueKind::kChoice:
      return "(" + CLI::detail::join(ChoicesOf(option), " ") + ")";
    default:
      return " ";
  }
}

std::string ZshCommand(CLI::App& command) {
  std::string text = "    " + command.get_name() + ")\n      _arguments \\\n";
  text += "        '(-h --help)'{-h,--help}'[Show the usage]' \\\n";
  for (const CLI::Option* option : FlagsOf(command)) {
    const std::string description = "[" + ZshText(option->get_description()) + "]";
    const bool has_value = KindOf(*option) != ValueKind::kNone;
    const std::string value =
        has_value ? ":" + ZshText(option->get_type_name()) + ":" + ZshAction(*option) : "";
    for (const std::string& name : Spellings(*option)) {
      text += "        '*" + name + description + value + "' \\\n";
    }
  }
  const std::string choices = PositionalChoices(command);
  return text + "        '*: :" + (choices.empty() ? "_files" : "(" + choices + ")") + "' ;;\n";
}

}  // namespace

std::string BashCompletion(CLI::App& program) {
  const std::string commands = CommandNames(program);
  std::string text =
      "# bash completion of dirty_seg; made by 'dirty_seg completion bash'\n"
      "_dirty_seg_words() { mapfile -t COMPREPLY < <(compgen -W \"$1\" -- \"$current\"); }\n"
      "_dirty_seg_files() {\n"
      "  compopt -o filenames 2>/dev/null\n"
      "  mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
      "}\n"
      "_dirty_seg_folders() {\n"
      "  compopt -o filenames 2>/dev/null\n"
      "  mapfile -t COMPREPLY < <(compgen -d -- \"$current\")\n"
      "}\n"
      "_dirty_seg() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
      "  if ((COMP_CWORD == 1)); then\n"
      "    _dirty_seg_words '" +
      commands +
      " -h --help --version'\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]} in\n";
  for (CLI::App* command : CommandsOf(program)) text += BashCommand(*command);
  return text + "  esac\n}\ncomplete -F _dirty_seg dirty_seg\n";
}

std::string ZshCompletion(CLI::App& program) {
  std::string text =
      "#compdef dirty_seg\n"
      "# zsh completion of dirty_seg; made by 'dirty_seg completion zsh'\n"
      "_dirty_seg() {\n"
      "  if ((CURRENT == 2)); then\n"
      "    local -a commands=(\n";
  for (const CLI::App* command : CommandsOf(program)) {
    text += "      '" + command->get_name() + ":" + ZshText(command->get_description()) + "'\n";
  }
  text +=
      "    )\n"
      "    _describe -t commands command commands\n"
      "    _arguments '(-h --help)'{-h,--help}'[Show the usage]' '--version[Show the version]'\n"
      "    return\n"
      "  fi\n"
      "  local command=$words[2]\n"
      "  shift words\n"
      "  ((CURRENT--))\n"
      "  case $command in\n";
  for (CLI::App* command : CommandsOf(program)) text += ZshCommand(*command);
  return text +
         "  esac\n}\n"
         // Run as it is loaded by name, defined when it is read by `source`.
         "if [[ $funcstack[1] == _dirty_seg ]]; then\n  _dirty_seg \"$@\"\nelse\n"
         "  compdef _dirty_seg dirty_seg\nfi\n";
}

CLI::App* AddCompletion(CLI::App& app, CompletionOptions& options) {
  options.program = &app;
  CLI::App* command = app.add_subcommand("completion", "Print what a shell completes words with");
  command->add_option("SHELL", options.shell, "bash or zsh")
      ->required()
      ->check(OneOf({"bash", "zsh"}))
      ->type_name("bash|zsh");
  command->footer(
      "Example:\n"
      "  source <(dirty_seg completion bash)\n"
      "Exit status:\n"
      "  0 always, but 2 for bad usage");
  return command;
}

int RunCompletion(const CompletionOptions& options) {
  const std::string text =
      options.shell == "zsh" ? ZshCompletion(*options.program) : BashCompletion(*options.program);
  PrintResult(text, "the completion");
  return kAllDone;
}

}  // namespace dirty_seg
