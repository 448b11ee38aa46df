#include "command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <utility>

#include "base/errors.h"
#include "command_line/complaint.h"
#include "command_line/help_page.h"

namespace dirty_seg {
namespace {

constexpr const char* kHelpDescription = "Show this help";

template <typename Handle, typename Pointers>
std::vector<Handle> HandlesOf(const Pointers& pointers) {
  std::vector<Handle> handles;
  handles.reserve(pointers.size());
  for (auto* pointer : pointers) handles.emplace_back(*pointer);
  return handles;
}

}  // namespace

// ---- Option -------------------------------------------------------------------------------------

Option& Option::Required() {
  option_->required();
  return *this;
}

Option& Option::TypeName(const std::string& name) {
  option_->type_name(name);
  return *this;
}

Option& Option::Group(const std::string& name) {
  option_->group(name);
  return *this;
}

Option& Option::Needs(const Option& other) {
  option_->needs(other.option_);
  return *this;
}

Option& Option::Excludes(const Option& other) {
  option_->excludes(other.option_);
  return *this;
}

Option& Option::Check(const ValueCheck& check) {
  option_->check(check);
  return *this;
}

Option& Option::CommaSeparated() {
  option_->delimiter(',')->allow_extra_args(false);
  return *this;
}

std::string Option::positional_name() const { return option_->get_name(true); }

std::vector<std::string> Option::flags() const {
  std::vector<std::string> flags;
  for (const std::string& name : option_->get_snames()) flags.push_back("-" + name);
  for (const std::string& name : option_->get_lnames()) flags.push_back("--" + name);
  return flags;
}

std::string Option::description() const { return option_->get_description(); }

std::string Option::type_name() const { return has_value() ? option_->get_type_name() : ""; }

std::string Option::group() const {
  const std::string group = option_->get_group();
  return group == "Options" ? "" : group;  // CLI11's word for none
}

bool Option::is_required() const { return option_->get_required(); }

bool Option::has_value() const { return option_->get_expected_min() > 0; }

bool Option::has_several_values() const { return option_->get_items_expected_max() > 1; }

std::vector<Option> Option::needed() const { return HandlesOf<Option>(option_->get_needs()); }

std::vector<Option> Option::excluded() const { return HandlesOf<Option>(option_->get_excludes()); }

bool Option::is_given() const { return !option_->empty(); }

void Option::Give(const std::vector<std::string>& values) try {
  option_->add_result(values);
  option_->run_callback();
} catch (const CLI::ParseError& error) {
  throw std::invalid_argument(error.what());
}

// ---- Command ------------------------------------------------------------------------------------

Option Command::AddOption(const std::string& names, Variable variable,
                          const std::string& description) {
  const auto add = [&](auto* value) { return app_->add_option(names, *value, description); };
  return Option(*std::visit(add, variable));
}

Option Command::AddCallback(const std::string& names,
                            const std::function<void(const std::string&)>& call,
                            const std::string& description) {
  return Option(*app_->add_option_function(names, call, description));
}

Option Command::AddFlag(const std::string& names, bool* is_set, const std::string& description) {
  return Option(*app_->add_flag(names, *is_set, description));
}

void Command::Footer(const std::string& text) { app_->footer(text); }

void Command::OnChosen(const std::function<void()>& call) { app_->callback(call); }

std::string Command::name() const { return app_->get_name(); }

std::string Command::description() const { return app_->get_description(); }

std::string Command::footer() const { return app_->get_footer(); }

std::vector<Option> Command::options() const { return HandlesOf<Option>(app_->get_options()); }

Option Command::option(const std::string& flag) const { return Option(*app_->get_option(flag)); }

// ---- Program ------------------------------------------------------------------------------------

Program::Program(const std::string& name, const std::string& description,
                 const std::string& version)
    : Program(std::make_unique<CLI::App>(description, name)) {
  app().get_help_ptr()->description(kHelpDescription);
  app().set_version_flag("--version", version, "Show the version");
  app().require_subcommand(1);
}

Program::Program(std::unique_ptr<CLI::App> app) : Command(*app), owned_(std::move(app)) {}

Program::~Program() = default;

Command Program::AddCommand(const std::string& name, const std::string& description) {
  CLI::App* const command = app().add_subcommand(name, description);
  command->get_help_ptr()->description(kHelpDescription);
  return Command(*command);
}

std::vector<Command> Program::commands() const {
  return HandlesOf<Command>(app().get_subcommands([](const CLI::App* /*any*/) { return true; }));
}

std::vector<std::string> Program::command_names() const {
  std::vector<std::string> names;
  for (const Command& command : commands()) names.push_back(command.name());
  return names;
}

std::optional<std::string> Program::Parse(int argc, const char* const* argv) try {
  app().parse(argc, argv);
  return std::nullopt;
} catch (const CLI::CallForHelp&) {
  const std::optional<Command> command = chosen();
  return command ? HelpPage(*this, *command) : HelpPage(*this);
} catch (const CLI::CallForVersion& version) {
  return std::string(version.what()) + "\n";
} catch (const CLI::ParseError& error) {
  const bool is_missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  throw SetupError(Complaint(*this, {error.what(), is_missing, app().remaining(true)}));
}

std::optional<Command> Program::chosen() const {
  const std::vector<CLI::App*> chosen = app().get_subcommands();
  if (chosen.empty()) return std::nullopt;
  return Command(*chosen.front());
}

// ---- Values -------------------------------------------------------------------------------------

template <typename Number>
std::optional<Number> ReadNumber(const std::string& text) {
  Number number{};
  if (!CLI::detail::lexical_cast(text, number)) return std::nullopt;
  return number;
}

template std::optional<int> ReadNumber(const std::string&);
template std::optional<std::int64_t> ReadNumber(const std::string&);
template std::optional<std::size_t> ReadNumber(const std::string&);
template std::optional<float> ReadNumber(const std::string&);
template std::optional<double> ReadNumber(const std::string&);

}  // namespace dirty_seg
