#include "command_line/host_option.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/nearest.h"
#include "base/text.h"
#include "command_line/foreign_options.h"
#include "command_line/value_kind.h"
#include "config/host_file.h"
#include "files/yaml_file.h"

namespace dirty_seg {
namespace {

constexpr const char* kHost = "--host";

// What a file may set.
std::vector<Option> OptionsOf(const Command& command) {
  std::vector<Option> options = FlagsOf(command);
  const auto is_host = [](const Option& option) { return FlagName(option) == kHost; };
  options.erase(std::remove_if(options.begin(), options.end(), is_host), options.end());
  return options;
}

// The option of that name, if the command has it.
std::optional<Option> FindOption(const Command& command, const std::string& key) {
  for (const Option& option : OptionsOf(command)) {
    const std::vector<std::string> flags = option.flags();
    if (std::find(flags.begin(), flags.end(), "--" + key) != flags.end()) return option;
  }
  return std::nullopt;
}

std::vector<std::string> KeysOf(const Command& command) {
  std::vector<std::string> keys;
  for (const Option& option : OptionsOf(command)) {
    for (const std::string& flag : option.flags()) {
      if (flag.rfind("--", 0) == 0) keys.push_back(flag.substr(2));
    }
  }
  return keys;
}

std::vector<std::string> FlagNames(const Command& command) {
  std::vector<std::string> names;
  for (const std::string& key : KeysOf(command)) names.push_back("--" + key);
  return names;
}

// Carries what a file says over to the options of one command.
class HostOptionReader {
 public:
  HostOptionReader(HostFile file, const Program& program, const Command& command)
      : file_(std::move(file)), program_(program), command_(command) {
    for (const Option& option : FlagsOf(command)) {
      if (option.is_given()) given_.push_back(option);
    }
  }

  void Apply() const {
    for (const HostSection& section : file_.sections) CheckSection(section);
    for (const HostEntry& entry : file_.shared) CheckShared(entry);
    for (const HostSection& section : file_.sections) {
      if (section.command != command_.name()) continue;
      for (const HostEntry& entry : section.entries) Set(entry);
    }
    for (const HostEntry& entry : file_.shared) Set(entry);
  }

 private:
  [[noreturn]] void Reject(int line, const std::string& what) const {
    RejectFile(file_.path, line, what);
  }

  void RejectForeign(const HostEntry& entry, const Command& command) const {
    const std::string place = HintForForeignOption(entry.key, FlagNames(command));
    if (!place.empty()) Reject(entry.line, place);
  }

  void CheckSection(const HostSection& section) const {
    const std::vector<Command> commands = program_.commands();
    const auto command =
        std::find_if(commands.begin(), commands.end(),
                     [&section](const Command& each) { return each.name() == section.command; });
    if (command == commands.end()) {
      Reject(section.line,
             section.command + (IsOption(section.command)
                                    ? " has no value; expected one after it"
                                    : " is not a command" +
                                          DidYouMean(section.command, program_.command_names())));
    }
    for (const HostEntry& entry : section.entries) {
      if (FindOption(*command, entry.key)) continue;
      RejectForeign(entry, *command);
      Reject(entry.line, fmt::format("{} is not an option of '{}'{}", entry.key, section.command,
                                     DidYouMean(entry.key, KeysOf(*command))));
    }
  }

  void CheckShared(const HostEntry& entry) const {
    const std::vector<std::string> names = program_.command_names();
    if (std::find(names.begin(), names.end(), entry.key) != names.end()) {
      Reject(entry.line,
             fmt::format("{0} is '{1}'; expected options of the command '{0}', each on a "
                         "line of its own below it, as '  threads: 2'",
                         entry.key, Join(entry.values)));
    }
    if (IsOption(entry.key)) return;
    RejectForeign(entry, command_);
    std::vector<std::string> keys;
    for (const Command& command : program_.commands()) {
      for (std::string& key : KeysOf(command)) keys.push_back(std::move(key));
    }
    Reject(entry.line,
           entry.key + " is not an option of any command" + DidYouMean(entry.key, keys));
  }

  // Of any command.
  bool IsOption(const std::string& key) const {
    const std::vector<Command> commands = program_.commands();
    return std::any_of(commands.begin(), commands.end(), [&key](const Command& command) {
      return FindOption(command, key).has_value();
    });
  }

  // The command line comes before the file, also where it has the opposite of what the file says.
  bool IsRuledOut(const Option& option) const {
    const auto excludes_given = [this](const Option& each) {
      const std::vector<Option> rivals = each.excluded();
      return std::find_first_of(rivals.begin(), rivals.end(), given_.begin(), given_.end()) !=
             rivals.end();
    };
    const std::vector<Option> needed = option.needed();
    return excludes_given(option) || std::any_of(needed.begin(), needed.end(), excludes_given);
  }

  void Set(const HostEntry& entry) const {
    const std::optional<Option> option = FindOption(command_, entry.key);
    if (!option || option->is_given() || IsRuledOut(*option)) return;
    try {
      if (KindOf(*option) == ValueKind::kNone) {
        SetFlag(entry, *option);
      } else {
        SetValues(entry, *option);
      }
    } catch (const std::invalid_argument& error) {
      Reject(entry.line, error.what());
    }
  }

  void SetFlag(const HostEntry& entry, Option option) const {
    bool is_set = false;
    if (entry.values.size() != 1 ||
        !YAML::convert<bool>::decode(YAML::Node(entry.values[0]), is_set)) {
      Reject(entry.line,
             fmt::format("{} is '{}'; expected true or false", entry.key, Join(entry.values)));
    }
    if (is_set) option.Give({"true"});
  }

  void SetValues(const HostEntry& entry, Option option) const {
    if (entry.values.size() > 1 && !option.has_several_values()) {
      Reject(entry.line,
             fmt::format("{} has {} values; expected one", entry.key, entry.values.size()));
    }
    std::vector<std::string> values = entry.values;
    const ValueKind kind = KindOf(option);
    if (kind == ValueKind::kFile || kind == ValueKind::kFolder) {
      for (std::string& value : values) value = BesideHostFile(file_.path, value);
    }
    option.Give(values);
  }

  HostFile file_;
  const Program& program_;
  Command command_;
  std::vector<Option> given_;  // on the command line
};

}  // namespace

void AddHostOption(const Program& program, Command command) {
  if (FlagsOf(command).empty()) return;
  const auto read = [&program, command](const std::string& path) {
    if (command.option("--help").is_given()) return;
    HostOptionReader(ReadHostFile(path), program, command).Apply();
  };
  command.AddCallback(kHost, read, "Options from a file; 'init' writes one").TypeName("HOST.yaml");
}

}  // namespace dirty_seg
