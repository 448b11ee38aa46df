#include "commands/completion.h"

#include <cstddef>

#include "base/errors.h"
#include "base/text.h"
#include "command_line/checks.h"
#include "command_line/value_kind.h"
#include "files/text_stream.h"

namespace dirty_seg {
namespace {

std::string CommandNames(const Program& program) { return Join(program.command_names(), " "); }

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// What a positional argument of the command may be; the choices where it is one.
std::string PositionalChoices(const Program& program, const Command& command) {
  std::string words;
  for (const Option& option : command.options()) {
    if (!option.flags().empty()) continue;
    const ValueKind kind = KindOf(option);
    if (kind == ValueKind::kChoice) words = Join(ChoicesOf(option), " ");
    if (kind == ValueKind::kCommand) words = CommandNames(program);
  }
  return words;
}

// ---- bash ---------------------------------------------------------------------------------------

std::string BashReply(const Option& option) {
  switch (KindOf(option)) {
    case ValueKind::kFile:
      return "_dirty_seg_files";
    case ValueKind::kFolder:
      return "_dirty_seg_folders";
    case ValueKind::kChoice:
      return "_dirty_seg_words '" + Join(ChoicesOf(option), " ") + "'";
    default:
      return "COMPREPLY=()";
  }
}

// The branch of one command: the values of its options, then its options' names.
std::string BashCommand(const Program& program, const Command& command) {
  std::string values;
  std::string names = "-h --help";
  for (const Option& option : FlagsOf(command)) {
    names += " " + Join(option.flags(), " ");
    if (KindOf(option) == ValueKind::kNone) continue;
    values += "        " + Join(option.flags(), " | ") + ") " + BashReply(option) + "; return ;;\n";
  }
  const std::string choices = PositionalChoices(program, command);
  std::string text = "    " + command.name() + ")\n";
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

std::string ZshAction(const Option& option) {
  switch (KindOf(option)) {
    case ValueKind::kFile:
      return "_files";
    case ValueKind::kFolder:
      return "_files -/";
    case ValueKind::kChoice:
      return "(" + Join(ChoicesOf(option), " ") + ")";
    default:
      return " ";
  }
}

std::string ZshCommand(const Program& program, const Command& command) {
  std::string text = "    " + command.name() + ")\n      _arguments \\\n";
  text += "        '(-h --help)'{-h,--help}'[Show the usage]' \\\n";
  for (const Option& option : FlagsOf(command)) {
    const std::string description = "[" + ZshText(option.description()) + "]";
    const bool has_value = KindOf(option) != ValueKind::kNone;
    const std::string value =
        has_value ? ":" + ZshText(option.type_name()) + ":" + ZshAction(option) : "";
    for (const std::string& name : option.flags()) {
      text += "        '*" + name + description + value + "' \\\n";
    }
  }
  const std::string choices = PositionalChoices(program, command);
  return text + "        '*: :" + (choices.empty() ? "_files" : "(" + choices + ")") + "' ;;\n";
}

}  // namespace

std::string BashCompletion(const Program& program) {
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
  for (const Command& command : program.commands()) text += BashCommand(program, command);
  return text + "  esac\n}\ncomplete -F _dirty_seg dirty_seg\n";
}

std::string ZshCompletion(const Program& program) {
  std::string text =
      "#compdef dirty_seg\n"
      "# zsh completion of dirty_seg; made by 'dirty_seg completion zsh'\n"
      "_dirty_seg() {\n"
      "  if ((CURRENT == 2)); then\n"
      "    local -a commands=(\n";
  for (const Command& command : program.commands()) {
    text += "      '" + command.name() + ":" + ZshText(command.description()) + "'\n";
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
  for (const Command& command : program.commands()) text += ZshCommand(program, command);
  return text +
         "  esac\n}\n"
         // Run as it is loaded by name, defined when it is read by `source`.
         "if [[ $funcstack[1] == _dirty_seg ]]; then\n  _dirty_seg \"$@\"\nelse\n"
         "  compdef _dirty_seg dirty_seg\nfi\n";
}

Command AddCompletion(Program& program, CompletionOptions& options) {
  options.program = &program;
  Command command = program.AddCommand("completion", "Print a shell completion script");
  command.AddOption("SHELL", &options.shell, "bash or zsh")
      .Required()
      .Check(OneOf({"bash", "zsh"}))
      .TypeName("bash|zsh");
  command.Footer(
      "Example:\n"
      "  source <(dirty_seg completion bash)\n"
      "Exit status:\n"
      "  0, or 2 for bad usage");
  return command;
}

int RunCompletion(const CompletionOptions& options) {
  const std::string text =
      options.shell == "zsh" ? ZshCompletion(*options.program) : BashCompletion(*options.program);
  PrintResult(text, "the completion");
  return kAllDone;
}

}  // namespace dirty_seg
