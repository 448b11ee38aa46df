// Commands and their options: the one door to CLI11, whose headers no other source includes. What
// is declared here is handed to CLI11, which parses; pages of help, completion and complaints are
// made from what can be asked here.
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

/// What is wrong with a value that was typed; empty for one that can be taken.
using ValueCheck = std::function<std::string(const std::string&)>;

/// An option, a flag, or an argument without either. Copies stand for the same one, which lives as
/// long as its program.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  // ---- Declaring it: each returns the option itself ---------------------------------------------

  Option& Required();
  /// What the help shows for the value; it also says what the value is (value_kind.h).
  Option& TypeName(const std::string& name);
  /// Options of a group share a line of the help, which `name` explains.
  Option& Group(const std::string& name);
  /// Refused without the other.
  Option& Needs(const Option& other);
  /// Refused beside the other.
  Option& Excludes(const Option& other);
  /// Every single value has to pass.
  Option& Check(const ValueCheck& check);
  /// Several values are one word with commas in it.
  Option& CommaSeparated();

  // ---- What it is -------------------------------------------------------------------------------

  /// "INPUT"; empty for one that has to have its flag.
  std::string positional_name() const;
  /// Every way to write it, short ones first: "-q", "--quiet"; none for an argument without.
  std::vector<std::string> flags() const;
  std::string description() const;
  /// Empty for a flag.
  std::string type_name() const;
  /// Empty where it is of none.
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

/// A command of a program. Copies stand for the same one, which lives as long as its program.
class Command {
 public:
  explicit Command(CLI::App& app) : app_(&app) {}

  // ---- Declaring it: variables outlive the program ----------------------------------------------

  /// Parsing sets the variable, and leaves it alone where the option is not given. `names` has a
  /// comma between any two of "-t", "--threads" and "INPUT", which is an argument's.
  Option AddOption(const std::string& names, Variable variable, const std::string& description);
  /// An option with whose value parsing calls `call`, once those added before have theirs.
  Option AddCallback(const std::string& names, const std::function<void(const std::string&)>& call,
                     const std::string& description);
  Option AddFlag(const std::string& names, bool* is_set, const std::string& description);
  /// Stands at the end of the help.
  void Footer(const std::string& text);
  /// Called once a command line that names the command is parsed.
  void OnChosen(const std::function<void()>& call);

  // ---- What it is -------------------------------------------------------------------------------

  std::string name() const;
  std::string description() const;
  std::string footer() const;
  /// In the order that they were added in; -h,--help is the first.
  std::vector<Option> options() const;
  /// That with the flag, which the command has to have.
  Option option(const std::string& flag) const;

 protected:
  CLI::App& app() const { return *app_; }

 private:
  CLI::App* app_;
};

/// What is called: a command line names one of its commands. Its own options are -h,--help and
/// --version.
class Program : public Command {
 public:
  /// `version` is what --version shows.
  Program(const std::string& name, const std::string& description, const std::string& version);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  Command AddCommand(const std::string& name, const std::string& description);
  /// In the order that they were added in.
  std::vector<Command> commands() const;
  std::vector<std::string> command_names() const;

  /// Parses what `main` is given, once. Returns the text to show, with its newline, where it asks
  /// for help or the version. Throws SetupError with what is wrong and who helps.
  std::optional<std::string> Parse(int argc, const char* const* argv);
  /// The command that the parsed words name; none where they do not.
  std::optional<Command> chosen() const;

 private:
  explicit Program(std::unique_ptr<CLI::App> app);

  std::unique_ptr<CLI::App> owned_;
};

/// The number that `text` gives to an option's variable; none where it gives none. A `Number` is an
/// int, std::int64_t, std::size_t, float or double.
template <typename Number>
std::optional<Number> ReadNumber(const std::string& text);

}  // namespace dirty_seg
