// What the door to the parser promises of parsing, and of the values that a file gives.
#include "command_line/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "base/errors.h"
#include "command_line/checks.h"
#include "support/rejection.h"

namespace dirty_seg {
namespace {

using test::RejectionOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class CommandLine : public testing::Test {
 protected:
  std::optional<std::string> Parse(std::vector<const char*> words) {
    words.insert(words.begin(), "called/as/tool");
    return program_.Parse(static_cast<int>(words.size()), words.data());
  }

  Program program_{"tool", "Does things", "tool 1.2"};
  Command command_ = program_.AddCommand("run", "Does one thing");
};

TEST_F(CommandLine, SetsVariablesOfEveryType) {
  std::string text;
  int number = 0;
  std::int64_t great = 0;
  std::size_t count = 0;
  float ratio = 0;
  std::optional<int> maybe_number;
  std::optional<std::int64_t> maybe_great;
  std::optional<std::size_t> maybe_count;
  std::optional<double> maybe_ratio;
  std::vector<std::string> texts;
  std::vector<int> numbers;
  bool is_set = false;
  command_.AddOption("--text", &text, "");
  command_.AddOption("--number", &number, "");
  command_.AddOption("--great", &great, "");
  command_.AddOption("--count", &count, "");
  command_.AddOption("--ratio", &ratio, "");
  command_.AddOption("--maybe-number", &maybe_number, "");
  command_.AddOption("--maybe-great", &maybe_great, "");
  command_.AddOption("--maybe-count", &maybe_count, "");
  command_.AddOption("--maybe-ratio", &maybe_ratio, "");
  command_.AddOption("TEXTS", &texts, "");
  command_.AddOption("--numbers", &numbers, "").CommaSeparated();
  command_.AddFlag("--set", &is_set, "");
  EXPECT_FALSE(
      Parse({"run",        "--text",        "a b",         "--number",      "-3",  "--great",
             "5000000000", "--count",       "7",           "--ratio",       "0.5", "--maybe-number",
             "4",          "--maybe-great", "-5000000000", "--maybe-count", "8",   "--maybe-ratio",
             "1e300",      "--numbers",     "1,2",         "--set",         "x",   "y"}));
  EXPECT_EQ(text, "a b");
  EXPECT_EQ(number, -3);
  EXPECT_EQ(great, 5000000000);
  EXPECT_EQ(count, 7U);
  EXPECT_EQ(ratio, 0.5F);
  EXPECT_EQ(maybe_number, 4);
  EXPECT_EQ(maybe_great, -5000000000);
  EXPECT_EQ(maybe_count, 8U);
  EXPECT_EQ(maybe_ratio, 1e300);
  EXPECT_THAT(texts, ElementsAre("x", "y"));
  EXPECT_THAT(numbers, ElementsAre(1, 2));
  EXPECT_TRUE(is_set);
}

TEST_F(CommandLine, LeavesAloneWhatIsNotGiven) {
  int number = 9;
  std::optional<double> ratio;
  const Option option = command_.AddOption("-n,--number", &number, "");
  command_.AddOption("--ratio", &ratio, "");
  EXPECT_FALSE(Parse({"run"}));
  EXPECT_EQ(number, 9);
  EXPECT_FALSE(ratio.has_value());
  EXPECT_FALSE(option.is_given());
}

TEST_F(CommandLine, TellsWhatAnOptionIs) {
  std::string text;
  std::vector<std::string> texts;
  bool is_set = false;
  const Option both = command_.AddOption("FILE,-f,--file", &text, "To read").TypeName("F.txt");
  EXPECT_EQ(both.positional_name(), "FILE");
  EXPECT_THAT(both.flags(), ElementsAre("-f", "--file"));
  EXPECT_EQ(both.description(), "To read");
  EXPECT_EQ(both.type_name(), "F.txt");
  EXPECT_EQ(both.group(), "");
  EXPECT_TRUE(both.has_value());
  EXPECT_FALSE(both.has_several_values());
  EXPECT_FALSE(both.is_required());
  const Option argument = command_.AddOption("REST", &texts, "").Required();
  EXPECT_THAT(argument.flags(), IsEmpty());
  EXPECT_TRUE(argument.has_several_values());
  EXPECT_TRUE(argument.is_required());
  const Option flag = command_.AddFlag("--set", &is_set, "").Group("Kinds").Needs(both);
  EXPECT_EQ(flag.type_name(), "");
  EXPECT_EQ(flag.group(), "Kinds");
  EXPECT_FALSE(flag.has_value());
  EXPECT_FALSE(flag.has_several_values());
  EXPECT_THAT(flag.needed(), ElementsAre(both));
  EXPECT_THAT(command_.options(), ElementsAre(command_.option("-h"), both, argument, flag));
}

TEST_F(CommandLine, ExcludesBothWays) {
  bool a = false;
  bool b = false;
  const Option option_a = command_.AddFlag("--a", &a, "");
  const Option option_b = command_.AddFlag("--b", &b, "").Excludes(option_a);
  EXPECT_THAT(option_a.excluded(), ElementsAre(option_b));
  EXPECT_THAT(option_b.excluded(), ElementsAre(option_a));
  EXPECT_THAT(RejectionOf<SetupError>([&] {
                Parse({"run", "--a", "--b"});
              }),
              StartsWith("--a excludes --b"));
}

TEST_F(CommandLine, GivesValuesAsIfTheyHadBeenTyped) {
  int number = 0;
  bool is_set = false;
  Option option =
      command_.AddOption("--number", &number, "").Check(NumberFrom(0, 5, "a number from 0 to 5"));
  Option flag = command_.AddFlag("--set", &is_set, "");
  option.Give({"4"});
  flag.Give({"true"});
  EXPECT_EQ(number, 4);
  EXPECT_TRUE(option.is_given());
  EXPECT_TRUE(is_set);
}

TEST_F(CommandLine, RefusesToGiveWhatACheckRefuses) {
  int number = 0;
  Option option =
      command_.AddOption("--number", &number, "").Check(NumberFrom(0, 5, "a number from 0 to 5"));
  EXPECT_EQ(RejectionOf<std::invalid_argument>([&] { option.Give({"6"}); }),
            "--number: 6 is not a number from 0 to 5");
  EXPECT_EQ(number, 0);
}

TEST_F(CommandLine, CallsBackWithWhatStandsBefore) {
  int number = 0;
  std::string seen;
  command_.AddOption("--number", &number, "");
  command_.AddCallback(
      "--call", [&](const std::string& value) { seen = value + std::to_string(number); }, "");
  EXPECT_FALSE(Parse({"run", "--call", "x", "--number", "3"}));
  EXPECT_EQ(seen, "x3");
}

TEST_F(CommandLine, CallsTheChosenCommandAlone) {
  std::vector<std::string> calls;
  command_.OnChosen([&] { calls.emplace_back("run"); });
  program_.AddCommand("rest", "Does nothing").OnChosen([&] { calls.emplace_back("rest"); });
  EXPECT_FALSE(Parse({"rest"}));
  EXPECT_THAT(calls, ElementsAre("rest"));
  EXPECT_EQ(program_.chosen()->name(), "rest");
  EXPECT_THAT(program_.command_names(), ElementsAre("run", "rest"));
}

TEST_F(CommandLine, ReturnsTheVersion) { EXPECT_EQ(Parse({"--version"}), "tool 1.2\n"); }

TEST_F(CommandLine, ReturnsTheHelpOfTheProgram) {
  EXPECT_THAT(Parse({"--help"}).value(), StartsWith("Does things\n"));
}

TEST_F(CommandLine, ReturnsTheHelpOfTheCommandWhateverIsMissing) {
  std::string text;
  command_.AddOption("--text", &text, "").Required();
  bool is_chosen = false;
  command_.OnChosen([&] { is_chosen = true; });
  EXPECT_THAT(Parse({"run", "-h"}).value(), StartsWith("Does one thing\n"));
  EXPECT_FALSE(is_chosen);
}

TEST(ReadNumber, ReadsWhatAVariableWouldGet) {
  EXPECT_EQ(ReadNumber<int>("0x10"), 16);
  EXPECT_EQ(ReadNumber<float>("1e-2"), 0.01F);
  EXPECT_EQ(ReadNumber<int>("3000000000"), std::nullopt);
  EXPECT_EQ(ReadNumber<std::int64_t>("3000000000"), 3000000000);
  EXPECT_EQ(ReadNumber<double>("1,5"), std::nullopt);
}

}  // namespace
}  // namespace dirty_seg
