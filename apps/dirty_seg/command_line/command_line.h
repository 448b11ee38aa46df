// Commands and their options: the one door to CLI11, whose headers no other source includes. What
// is declared here is passed to CLI11, which parses; help pages, completion and error messages are
// made from what can be queried here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace dirty_seg {

/// What an option sets.
using Variable =
    std::variant<std::string*, int*, std::int64_t*, std::size_t*, float*, std::optional<int>*,
                 std::optional<std::int64_t>*, std::optional<std::size_t>*, std::optional<double>*,
                 std::vector<std::string>*, std::vector<int>*>;

/// What is wrong with a given value; empty for a valid one.
using ValueCheck = std::function<std::string(const std::string&)>;

/// An option, a flag, or a positional argument. Copies refer to the same one, which lives as long
/// as its program.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  // ---- Declaring it: each returns the option itself ---------------------------------------------

  Option& Required();
  /// What the help shows for the value; it also determines the kind of value (value_kind.h).
  Option& TypeName(const std::string& name);
  /// Options of a group share a line of the help, which `name` explains.
  Option& Group(const std::string& name);
  /// Refused unless the other is given.
  Option& Needs(const Option& other);
  /// Refused if the other is given.
  Option& Excludes(const Option& other);
  /// Every single value has to pass the check.
  Option& Check(const ValueCheck& check);
  /// Several values are given as one word, separated by commas.
  Option& CommaSeparated();

  // ---- What it is -------------------------------------------------------------------------------

  /// "INPUT"; empty unless positional.
  std::string positional_name() const;
  /// Every way to write it, short ones first: "-q", "--quiet"; none if it is only positional.
  std::vector<std::string> flags() const;
  std::string description() const;
  /// Empty for a flag.
  std::string type_name() const;
  /// Empty if it belongs to none.
  std::string group() const;
  bool is_required() const;
  bool has_value() const;
  bool has_several_values() const;
  std::vector<Option> needed() const;
  std::vector<Option> excluded() const;
  bool operator==(const Option& other) const { return option_ == other.option_; }

  // ---- What was given to it ---------------------------------------------------------------------

  bool is_given() const;
  /// Takes `values` as if they had been typed, "true" for a flag. Throws std::invalid_argument
  /// with what is wrong with them.
  void Give(const std::vector<std::string>& values);

 private:
  CLI::Option* option_;
};

/// A command of a program. Copies refer to the same one, which lives as long as its program.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  // ---- Declaring it: variables outlive the program ----------------------------------------------

  /// Parsing sets the variable if the option is given. `names` has a comma between any two of
  /// "-t", "--threads" and "INPUT", which is the name of a positional argument.
  Option AddOption(const std::string& names, Variable variable, const std::string& description);
  /// An option with whose value parsing calls `call`, after setting those added before it.
  Option AddCallback(const std::string& names, const std::function<void(const std::string&)>& call,
                     const std::string& description);
  Option AddFlag(const std::string& names, bool* is_set, const std::string& description);
  /// Shown at the end of the help.
  void Footer(const std::string& text);
  /// Called once a command line that names the command is parsed.
  void OnChosen(const std::function<void()>& call);

  // ---- What it is -------------------------------------------------------------------------------

  std::string name() const;
  std::string description() const;
  std::string footer() const;
  /// In the order they were added; -h,--help is the first.
  std::vector<Option> options() const;
  /// The option with this flag, which has to exist.
  Option option(const std::string& flag) const;

 protected:
  CLI::App& app() const { return *app_; }

 private:
  CLI::App* app_;
};

/// A program; its command line names one command. Its own options are -h,--help and --version.
class Program : public Command {
 public:
  /// `version` is what --version shows.
  Program(const std::string& name, const std::string& description, const std::string& version);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  Command AddCommand(const std::string& name, const std::string& description);
  /// In the order they were added.
  std::vector<Command> commands() const;
  std::vector<std::string> command_names() const;

  /// Parses the arguments of `main`, once. Returns the text to show, with its newline, if they ask
  /// for help or the version. Throws SetupError with what is wrong and how to get help.
  std::optional<std::string> Parse(int argc, const char* const* argv);
  /// The command that the parsed words name, if any.
  std::optional<Command> chosen() const;

 private:
  explicit Program(std::unique_ptr<CLI::App> app);

  std::unique_ptr<CLI::App> owned_;
};

/// Parses `text` as the value of a numeric option; nothing if it is not one. A `Number` is an
/// int, std::int64_t, std::size_t, float or double.
template <typename Number>
std::optional<Number> ReadNumber(const std::string& text);

}  // namespace dirty_seg
