#include "commands/host_option.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "base/nearest.h"
#include "commands/foreign_options.h"
#include "commands/value_kind.h"
#include "config/host_file.h"
#include "files/yaml_file.h"

namespace dirty_seg {
namespace {

constexpr const char* kHost = "--host";

std::vector<CLI::App*> CommandsOf(CLI::App& program) {
  return program.get_subcommands([](const CLI::App* /*any*/) { return true; });
}

// The option behind a key; null where the command has none.
CLI::Option* FindOption(CLI::App& command, const std::string& key) {
  if (!CLI::detail::valid_name_string(key)) return nullptr;
  for (CLI::Option* option : FlagsOf(command)) {
    if (option->get_configurable() && option->check_lname(key)) return option;
  }
  return nullptr;
}

std::vector<std::string> KeysOf(CLI::App& command) {
  std::vector<std::string> keys;
  for (const CLI::Option* option : FlagsOf(command)) {
    if (!option->get_configurable()) continue;
    for (const std::string& name : option->get_lnames()) keys.push_back(name);
  }
  return keys;
}

// Carries what a file says over to the options of one command.
class Reader {
 public:
  Reader(HostFile file, CLI::App& command)
      : file_(std::move(file)), command_(command), commands_(CommandsOf(*command.get_parent())) {
    for (const CLI::Option* option : FlagsOf(command)) {
      if (!option->empty()) given_.insert(option);
    }
  }

  void Apply() {
    for (const HostSection& section : file_.sections) CheckSection(section);
    for (const HostEntry& entry : file_.shared) CheckShared(entry);
    for (const HostSection& section : file_.sections) {
      if (section.command != command_.get_name()) continue;
      for (const HostEntry& entry : section.entries) Set(entry);
    }
    for (const HostEntry& entry : file_.shared) Set(entry);
  }

 private:
  [[noreturn]] void Reject(int line, const std::string& what) const {
    RejectFile(file_.path, line, what);
  }

  void RejectForeign(const HostEntry& entry) const {
    const std::string place = PlaceOfForeignOption(entry.key);
    if (!place.empty()) Reject(entry.line, place);
  }

  void CheckSection(const HostSection& section) {
    const auto command = std::find_if(
        commands_.begin(), commands_.end(),
        [&section](const CLI::App* other) { return other->get_name() == section.command; });
    if (command == commands_.end()) {
      const bool is_option = std::any_of(
          commands_.begin(), commands_.end(),
          [&section](CLI::App* other) { return FindOption(*other, section.command) != nullptr; });
      Reject(section.line, is_option ? section.command + " has no value; expected one behind it"
                                     : section.command + " is no command" +
                                           DidYouMean(section.command, CommandNames()));
    }
    for (const HostEntry& entry : section.entries) {
      if (FindOption(**command, entry.key) != nullptr) continue;
      RejectForeign(entry);
      Reject(entry.line, entry.key + " is no option of '" + section.command + "'" +
                             DidYouMean(entry.key, KeysOf(**command)));
    }
  }

  void CheckShared(const HostEntry& entry) {
    const std::vector<std::string> names = CommandNames();
    if (std::find(names.begin(), names.end(), entry.key) != names.end()) {
      Reject(entry.line, entry.key + " is '" + CLI::detail::join(entry.values, ", ") +
                             "'; expected options of the command '" + entry.key +
                             "', each on a line of its own below it, as '  threads: 2'");
    }
    std::vector<std::string> keys;
    for (CLI::App* command : commands_) {
      if (FindOption(*command, entry.key) != nullptr) return;
      for (std::string& key : KeysOf(*command)) keys.push_back(std::move(key));
    }
    RejectForeign(entry);
    Reject(entry.line, entry.key + " is no option of any command" + DidYouMean(entry.key, keys));
  }

  std::vector<std::string> CommandNames() const {
    std::vector<std::string> names;
    for (const CLI::App* command : commands_) names.push_back(command->get_name());
    return names;
  }

  // The command line comes before the file, also where it has the opposite of what the file says.
  bool IsRuledOut(const CLI::Option& option) const {
    const auto excludes_given = [this](const CLI::Option& each) {
      const auto& rivals = each.get_excludes();
      return std::any_of(rivals.begin(), rivals.end(),
                         [this](const CLI::Option* rival) { return given_.count(rival) > 0; });
    };
    const auto& needed = option.get_needs();
    return excludes_given(option) ||
           std::any_of(needed.begin(), needed.end(),
                       [&](const CLI::Option* each) { return excludes_given(*each); });
  }

  void Set(const HostEntry& entry) {
    CLI::Option* option = FindOption(command_, entry.key);
    if (option == nullptr || !option->empty() || IsRuledOut(*option)) return;
    try {
      if (KindOf(*option) == ValueKind::kNone) {
        SetFlag(entry, *option);
      } else {
        SetValues(entry, *option);
      }
    } catch (const CLI::ParseError& error) {
      Reject(entry.line, error.what());
    }
  }

  void SetFlag(const HostEntry& entry, CLI::Option& option) const {
    bool is_set = false;
    if (entry.values.size() != 1 ||
        !YAML::convert<bool>::decode(YAML::Node(entry.values[0]), is_set)) {
      Reject(entry.line, entry.key + " is '" + CLI::detail::join(entry.values, ", ") +
                             "'; expected true or false");
    }
    if (!is_set) return;
    option.add_result(option.get_flag_value(entry.key, "true"));
    option.run_callback();
  }

  void SetValues(const HostEntry& entry, CLI::Option& option) const {
    if (entry.values.size() > 1 && option.get_items_expected_max() == 1) {
      Reject(entry.line,
             entry.key + " has " + std::to_string(entry.values.size()) + " values; expected one");
    }
    std::vector<std::string> values = entry.values;
    const ValueKind kind = KindOf(option);
    if (kind == ValueKind::kFile || kind == ValueKind::kFolder) {
      for (std::string& value : values) value = BesideHostFile(file_.path, value);
    }
    option.add_result(values);
    option.run_callback();
  }

  HostFile file_;
  CLI::App& command_;
  std::vector<CLI::App*> commands_;
  std::set<const CLI::Option*> given_;  // on the command line
};

}  // namespace

void AddHostOption(CLI::App& command) {
  if (FlagsOf(command).empty()) return;
  CLI::App* const command_pointer = &command;
  command
      .add_option_function<std::string>(
          kHost,
          [command_pointer](const std::string& path) {
            if (command_pointer->get_help_ptr()->count() > 0) return;
            Reader(ReadHostFile(path), *command_pointer).Apply();
          },
          "Options from a file; 'init' writes one")
      ->configurable(false)
      ->type_name("HOST.yaml");
}

}  // namespace dirty_seg
