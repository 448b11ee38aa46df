// The process-wide logger: its set-up from the environment and the form of every line. What depends
// on the environment runs in a process of its own, `logger_probe`.
#include "logger/logger.h"

#include <gtest/gtest.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/spdlog.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "support/captured_log.h"
#include "support/detector_test.h"

namespace {

using Strings = std::vector<std::string>;

// Counts how often it was formatted.
struct Counted {
  int* count;
};

// Is formatted as the logger's counter at that moment.
struct CurrentNumber {
  bool fails = false;
};

}  // namespace

template <>
struct fmt::formatter<Counted> {
  constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
  template <typename Context>
  auto format(const Counted& value, Context& context) const {
    ++*value.count;
    return fmt::format_to(context.out(), "counted");
  }
};

template <>
struct fmt::formatter<CurrentNumber> {
  constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
  template <typename Context>
  auto format(const CurrentNumber& value, Context& context) const {
    if (value.fails) throw std::runtime_error("no number");
    return fmt::format_to(context.out(), "{}", tessmar::Logger::Instance("spdlog").sequence);
  }
};

namespace {

// --- The form of a line ---

class LogCall : public ::testing::Test {
 protected:
  static void SetLevels(spdlog::level::level_enum level) {
    tessmar::Logger& instance = tessmar::Logger::Instance("spdlog");
    instance.level = level;
    instance.logger->set_level(level);
  }
  static int Sequence() { return tessmar::Logger::Instance("spdlog").sequence; }

  CapturedLog log;
};

TEST_F(LogCall, EveryLevelHasItsTag) {
  TESSMAR_LOG_DEBUG("a");
  TESSMAR_LOG_INFO("b");
  TESSMAR_LOG_ERROR("c");

  EXPECT_EQ(log.RawTexts(), (Strings{"  1 [DEBUG] a", "  2 [INFO] b", "  3 [ERROR] c"}));
  EXPECT_EQ(log.GetLines(),
            (Lines{Debug("TestBody", "a"), Info("TestBody", "b"), Error("TestBody", "c")}));
}

TEST_F(LogCall, SeventhLineShowsASevenInThreeCharacters) {
  for (int i = 0; i < 7; ++i) TESSMAR_LOG_INFO("text");

  EXPECT_EQ(log.RawTexts()[6], "  7 [INFO] text");
}

TEST_F(LogCall, NumberShowsTheLowSevenBits) {
  for (int i = 0; i < 300; ++i) TESSMAR_LOG_INFO("x");

  const Strings& texts = log.RawTexts();
  ASSERT_EQ(texts.size(), 300U);
  EXPECT_EQ(texts[0], "  1 [INFO] x");
  EXPECT_EQ(texts[9], " 10 [INFO] x");
  EXPECT_EQ(texts[126], "127 [INFO] x");
  EXPECT_EQ(texts[127], "  0 [INFO] x");
  EXPECT_EQ(texts[128], "  1 [INFO] x");
  EXPECT_EQ(texts[254], "127 [INFO] x");
  EXPECT_EQ(texts[255], "  0 [INFO] x");
  EXPECT_EQ(texts[256], "  1 [INFO] x");
  EXPECT_EQ(texts[299], " 44 [INFO] x");
}

TEST_F(LogCall, CounterWrapsFrom255To0) {
  log.RestartAt(254);

  TESSMAR_LOG_INFO("x");
  EXPECT_EQ(Sequence(), 255);
  TESSMAR_LOG_INFO("x");
  EXPECT_EQ(Sequence(), 0);
  TESSMAR_LOG_INFO("x");
  EXPECT_EQ(Sequence(), 1);
}

TEST_F(LogCall, OnlyLinesThatPassTheLevelAreCounted) {
  SetLevels(spdlog::level::err);

  TESSMAR_LOG_ERROR("a");
  TESSMAR_LOG_INFO("filtered");
  TESSMAR_LOG_DEBUG("filtered");
  EXPECT_EQ(Sequence(), 1);
  TESSMAR_LOG_ERROR("b");

  EXPECT_EQ(log.RawTexts(), (Strings{"  1 [ERROR] a", "  2 [ERROR] b"}));
}

TEST_F(LogCall, EachLevelPassesItsOwnThreshold) {
  SetLevels(spdlog::level::info);

  TESSMAR_LOG_DEBUG("a");
  TESSMAR_LOG_INFO("b");
  TESSMAR_LOG_ERROR("c");

  EXPECT_EQ(log.RawTexts(), (Strings{"  1 [INFO] b", "  2 [ERROR] c"}));
}

TEST_F(LogCall, ErrorsPassAtWarningButNotAtCritical) {
  SetLevels(spdlog::level::warn);
  TESSMAR_LOG_INFO("a");
  TESSMAR_LOG_ERROR("b");
  SetLevels(spdlog::level::critical);
  TESSMAR_LOG_ERROR("c");

  EXPECT_EQ(log.RawTexts(), Strings{"  1 [ERROR] b"});
  EXPECT_EQ(Sequence(), 1);
}

TEST_F(LogCall, SpdlogAppliesItsOwnLevelToo) {
  tessmar::Logger::Instance("spdlog").logger->set_level(spdlog::level::err);

  TESSMAR_LOG_INFO("counted, not written");

  EXPECT_TRUE(log.GetLines().empty());
  EXPECT_EQ(Sequence(), 1);
}

TEST_F(LogCall, LineBelowTheThresholdGoesToSpdlogUnderTheNumberOfTheLastOne) {
  tessmar::Logger& instance = tessmar::Logger::Instance("spdlog");
  log.RestartAt(6);
  instance.sequence = 7;
  instance.level = spdlog::level::err;  // spdlog's own stays at debug

  TESSMAR_LOG_INFO("x");

  EXPECT_EQ(log.RawTexts(), Strings{"  7 [INFO] x"});
  EXPECT_EQ(Sequence(), 7);
}

TEST_F(LogCall, TextIsFormattedEvenWhenItIsFilteredOut) {
  SetLevels(spdlog::level::critical);
  int count = 0;

  TESSMAR_LOG_DEBUG("{}", Counted{&count});
  TESSMAR_LOG_INFO("{}", Counted{&count});
  TESSMAR_LOG_ERROR("{}", Counted{&count});

  EXPECT_EQ(count, 3);
  EXPECT_TRUE(log.GetLines().empty());
}

TEST_F(LogCall, NumberIsTakenBeforeTheTextIsFormatted) {
  TESSMAR_LOG_INFO("{}", CurrentNumber{});
  EXPECT_THROW(TESSMAR_LOG_INFO("{}", CurrentNumber{true}), std::runtime_error);
  EXPECT_EQ(Sequence(), 2);

  EXPECT_EQ(log.RawTexts(), Strings{"  1 [INFO] 1"});
}

TEST_F(LogCall, ArgumentsFillTheFormat) {
  TESSMAR_LOG_INFO("{} of {}: {:.2f}", 1, "two", 3.0);

  EXPECT_EQ(log.RawTexts(), Strings{"  1 [INFO] 1 of two: 3.00"});
}

TEST_F(LogCall, FormattedTextIsNotFormattedAgain) {
  TESSMAR_LOG_INFO("{}", "{} {0:3d} %s %v {{}}");

  EXPECT_EQ(log.RawTexts(), Strings{"  1 [INFO] {} {0:3d} %s %v {{}}"});
}

TEST_F(LogCall, LongTextIsNotCut) {
  TESSMAR_LOG_INFO("{}", std::string(100000, 'x'));

  EXPECT_EQ(log.RawTexts(), Strings{"  1 [INFO] " + std::string(100000, 'x')});
}

TEST_F(LogCall, LineIsThatOfTheCall) {
  TESSMAR_LOG_INFO("a");
  const int line_of_a = __LINE__ - 1;
  TESSMAR_LOG_ERROR("b");

  EXPECT_EQ(log.SourceLines(), (std::vector<int>{line_of_a, line_of_a + 2}));
}

TEST_F(LogCall, LineOfADetectorsCallIsThatInItsSource) {
  nuvik::perception::dirty_seg_detector::DirtySegDetector detector;
  detector.PopulateData(cv::Mat(), nullptr);
  ASSERT_EQ(log.SourceLines().size(), 1U);

  std::ifstream source(DETECTOR_SOURCE);
  ASSERT_TRUE(source) << DETECTOR_SOURCE;
  std::string line;
  for (int i = 0; i < log.SourceLines()[0]; ++i) std::getline(source, line);

  EXPECT_NE(line.find("\"Invalid data\""), std::string::npos) << line;
}

TEST_F(LogCall, WithoutALoggerNothingHappens) {
  tessmar::Logger& instance = tessmar::Logger::Instance("spdlog");
  const std::shared_ptr<spdlog::logger> kept = instance.logger;
  instance.logger = nullptr;

  TESSMAR_LOG_ERROR("nobody hears this");

  EXPECT_EQ(Sequence(), 1);
  instance.logger = kept;
  EXPECT_TRUE(log.GetLines().empty());
}

TEST_F(LogCall, LoggerIsKeptAliveByTheCall) {
  const std::shared_ptr<spdlog::logger> kept = tessmar::Logger::Instance("spdlog").logger;
  long owners_during_the_call = 0;
  log.OnLine([&] { owners_during_the_call = kept.use_count(); });

  TESSMAR_LOG_INFO("x");

  EXPECT_EQ(owners_during_the_call, kept.use_count() + 1);
}

TEST_F(LogCall, ErrorOfASinkIsSpdlogsToHandle) {
  const std::shared_ptr<spdlog::logger> logger = tessmar::Logger::Instance("spdlog").logger;
  std::string told;
  logger->set_error_handler([&told](const std::string& error) { told = error; });
  log.OnLine([] { throw std::runtime_error("the sink is full"); });

  EXPECT_NO_THROW(TESSMAR_LOG_INFO("x"));
  log.OnLine([] {});
  TESSMAR_LOG_INFO("y");

  logger->set_error_handler(nullptr);
  EXPECT_NE(told.find("the sink is full"), std::string::npos) << told;
  EXPECT_EQ(log.RawTexts().back(), "  2 [INFO] y");
}

// --- The holder ---

TEST(LoggerHolder, FieldsHaveTheirTypesAndInitialValues) {
  const tessmar::Logger holder;

  EXPECT_EQ(holder.logger, nullptr);
  EXPECT_EQ(holder.sequence, 0);
  EXPECT_EQ(holder.level, 2);
  EXPECT_TRUE((std::is_same_v<decltype(holder.logger), std::shared_ptr<spdlog::logger>>));
  EXPECT_TRUE((std::is_same_v<decltype(holder.sequence), std::uint8_t>));
  EXPECT_TRUE((std::is_same_v<decltype(holder.level), std::int32_t>));
  EXPECT_LT(static_cast<const void*>(&holder.logger), static_cast<const void*>(&holder.sequence));
  EXPECT_LT(static_cast<const void*>(&holder.sequence), static_cast<const void*>(&holder.level));
}

TEST(LoggerHolder, EveryNameGivesTheOneInstance) {
  tessmar::Logger& first = tessmar::Logger::Instance("spdlog");

  EXPECT_EQ(&tessmar::Logger::Instance("other"), &first);
  EXPECT_EQ(first.logger->name(), "spdlog");
}

TEST(LoggerHolder, PatternIsTheTextAloneInLocalTime) {
  const auto& sinks = tessmar::Logger::Instance("spdlog").logger->sinks();
  if (sinks.empty()) GTEST_SKIP() << "SPDLOG_STDOUT is false";
  using Console = spdlog::sinks::ansicolor_stdout_sink<spdlog::details::console_mutex>;
  const auto* console = dynamic_cast<const Console*>(sinks.front().get());
  ASSERT_NE(console, nullptr);

  const auto& formatter = dynamic_cast<const spdlog::pattern_formatter&>(*console->formatter_);

  EXPECT_EQ(formatter.pattern_, "%v");
  EXPECT_EQ(formatter.pattern_time_type_, spdlog::pattern_time_type::local);
}

// --- Set-up from the environment ---

constexpr const char* kNoStdout = "environment variable SPDLOG_STDOUT is not set, and set true\n";
constexpr const char* kBadStdout = "environment variable SPDLOG_STDOUT is invalid, and set true\n";
constexpr const char* kNoSystemd =
    "environment variable SPDLOG_SYSTEMD is not set, and set false\n";
constexpr const char* kBadSystemd =
    "environment variable SPDLOG_SYSTEMD is invalid, and set false\n";
constexpr const char* kNoLevel =
    "environment variable SPDLOG_LEVEL is not set, and set default level\n";
constexpr const char* kBadLevel =
    "environment variable SPDLOG_LEVEL is invalid, and set default level\n";

struct Environment {
  const char* to_stdout = nullptr;  // null: not set
  const char* to_systemd = nullptr;
  const char* level = nullptr;
};

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

std::string CommandLine(const Environment& environment, const Strings& arguments,
                        const char* probe = LOGGER_PROBE) {
  std::string line = "env -u SPDLOG_STDOUT -u SPDLOG_SYSTEMD -u SPDLOG_LEVEL";
  const auto set = [&line](const char* name, const char* value) {
    if (value != nullptr) line += " " + Quoted(std::string(name) + "=" + value);
  };
  set("SPDLOG_STDOUT", environment.to_stdout);
  set("SPDLOG_SYSTEMD", environment.to_systemd);
  set("SPDLOG_LEVEL", environment.level);
  line += std::string(" ") + probe;
  for (const std::string& argument : arguments) line += " " + Quoted(argument);
  return line;
}

struct Outcome {
  int status;
  std::string output;
};

Outcome RunCommand(const std::string& line) {
  FILE* pipe = popen(line.c_str(), "r");
  if (pipe == nullptr) return {-1, "popen failed: " + line};
  std::string output;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

// Standard output of a probe.
std::string Probe(const Environment& environment, const Strings& arguments,
                  const char* probe = LOGGER_PROBE) {
  const Outcome outcome = RunCommand(CommandLine(environment, arguments, probe));
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  return outcome.output;
}

TEST(LoggerSetUp, WithNothingSetThreeNoticesAndTheDefaults) {
  EXPECT_EQ(Probe({}, {"state", "debug:a", "info:b"}),
            std::string(kNoStdout) + kNoSystemd + kNoLevel +
                "name=spdlog sinks=console level=2 logger_level=2 sequence=0 registered=0\n"
                "  1 [INFO] b\n");
}

TEST(LoggerSetUp, WithEverythingSetNoNotice) {
  EXPECT_EQ(Probe({"true", "false", "debug"}, {"state", "debug:a", "info:b", "error:c"}),
            "name=spdlog sinks=console level=1 logger_level=1 sequence=0 registered=0\n"
            "  1 [DEBUG] a\n  2 [INFO] b\n  3 [ERROR] c\n");
}

TEST(LoggerSetUp, NothingHappensBeforeTheFirstCall) { EXPECT_EQ(Probe({}, {}), ""); }

TEST(LoggerSetUp, NoticesComeOnce) {
  EXPECT_EQ(Probe({}, {"info:a", "info:b", "instance:spdlog"}),
            std::string(kNoStdout) + kNoSystemd + kNoLevel + "  1 [INFO] a\n  2 [INFO] b\n");
}

TEST(LoggerSetUp, WithBothSinksOffNothingIsWritten) {
  EXPECT_EQ(Probe({"false", "false", nullptr}, {"info:a", "error:b"}), kNoLevel);
  EXPECT_EQ(Probe({"false", "false", "trace"}, {"info:a", "error:b", "state"}),
            "name=spdlog sinks= level=0 logger_level=0 sequence=2 registered=0\n");
}

TEST(LoggerSetUp, ConsoleStandsBeforeTheJournal) {
  EXPECT_EQ(Probe({"true", "true", "info"}, {"state"}),
            "name=spdlog sinks=console,journal level=2 logger_level=2 sequence=0 registered=0\n");
}

TEST(LoggerSetUp, JournalAlone) {
  EXPECT_EQ(Probe({"false", "true", "info"}, {"state"}),
            "name=spdlog sinks=journal level=2 logger_level=2 sequence=0 registered=0\n");
}

TEST(LoggerSetUp, OtherValuesOfTheConsoleSwitchAreInvalid) {
  for (const char* value : {"TRUE", "True", "1", "", "true ", "truefalse", "FALSE", "no"}) {
    EXPECT_EQ(Probe({value, "false", "info"}, {"info:a"}),
              std::string(kBadStdout) + "  1 [INFO] a\n")
        << value;
  }
}

TEST(LoggerSetUp, OtherValuesOfTheJournalSwitchAreInvalid) {
  for (const char* value : {"TRUE", "1", "", "falsey"}) {
    EXPECT_EQ(Probe({"true", value, "info"}, {"state"}),
              std::string(kBadSystemd) +
                  "name=spdlog sinks=console level=2 logger_level=2 sequence=0 registered=0\n")
        << value;
  }
}

TEST(LoggerSetUp, InvalidValuesAreToldInOrder) {
  EXPECT_EQ(Probe({"x", "y", "z"}, {"info:a"}),
            std::string(kBadStdout) + kBadSystemd + kBadLevel + "  1 [INFO] a\n");
}

TEST(LoggerSetUp, EveryLevelNameIsKnown) {
  const Strings names{"trace", "debug", "info", "warning", "error", "critical"};
  for (std::size_t level = 0; level < names.size(); ++level) {
    const std::string number = std::to_string(level);
    EXPECT_EQ(Probe({"false", "false", names[level].c_str()}, {"state"}),
              "name=spdlog sinks= level=" + number + " logger_level=" + number +
                  " sequence=0 registered=0\n");
  }
}

TEST(LoggerSetUp, OtherLevelNamesAreInvalid) {
  for (const char* name : {"warn", "err", "off", "INFO", "Debug", "", "2", "info "}) {
    EXPECT_EQ(Probe({"false", "false", name}, {"state"}),
              std::string(kBadLevel) +
                  "name=spdlog sinks= level=2 logger_level=2 sequence=0 registered=0\n")
        << name;
  }
}

TEST(LoggerSetUp, LevelFiltersTheLines) {
  const Strings lines{"debug:a", "info:b", "error:c"};
  EXPECT_EQ(Probe({"true", "false", "trace"}, lines),
            "  1 [DEBUG] a\n  2 [INFO] b\n  3 [ERROR] c\n");
  EXPECT_EQ(Probe({"true", "false", "warning"}, lines), "  1 [ERROR] c\n");
  EXPECT_EQ(Probe({"true", "false", "error"}, lines), "  1 [ERROR] c\n");
  EXPECT_EQ(Probe({"true", "false", "critical"}, lines), "");
}

TEST(LoggerSetUp, FilteredLinesAreNotCounted) {
  EXPECT_EQ(Probe({"true", "false", "error"}, {"error:a", "info:b", "info:c", "error:d"}),
            "  1 [ERROR] a\n  2 [ERROR] d\n");
}

TEST(LoggerSetUp, EnvironmentIsReadOnce) {
  EXPECT_EQ(Probe({"true", "false", "info"},
                  {"info:a", "setenv:SPDLOG_LEVEL=critical", "setenv:SPDLOG_STDOUT=false", "info:b",
                   "instance:spdlog", "info:c"}),
            "  1 [INFO] a\n  2 [INFO] b\n  3 [INFO] c\n");
}

TEST(LoggerSetUp, EnvironmentIsReadAtTheFirstCallNotBefore) {
  EXPECT_EQ(Probe({"true", "false", "info"}, {"setenv:SPDLOG_LEVEL=debug", "debug:a"}),
            "  1 [DEBUG] a\n");
}

TEST(LoggerSetUp, OnlyTheFirstNameIsUsed) {
  EXPECT_EQ(Probe({"true", "false", "info"}, {"instance:first", "instance:second", "state"}),
            "name=first sinks=console level=2 logger_level=2 sequence=0 registered=0\n");
}

TEST(LoggerSetUp, ThreeHundredLinesOnTheConsole) {
  const std::string output = Probe({"true", "false", "info"}, {"repeat:300"});

  std::string expected;
  for (int call = 1; call <= 300; ++call) {
    char line[32];
    std::snprintf(line, sizeof(line), "%3d [INFO] x\n", call % 128);
    expected += line;
  }
  EXPECT_EQ(output, expected);
}

TEST(LoggerSetUp, ConcurrentFirstCallsWaitForOneBuild) {
  EXPECT_EQ(Probe({}, {"race"}), std::string(kNoStdout) + kNoSystemd + kNoLevel + "instances=1\n");
}

TEST(LoggerSetUp, TerminalIsKnownButLinesHaveNoColour) {
  const Outcome outcome = RunCommand("TERM=xterm-256color script --quiet --return --command \"" +
                                     CommandLine({"true", "false", "info"}, {"error:a", "state"}) +
                                     "\" /dev/null </dev/null 2>/dev/null");
  if (outcome.status == 127) GTEST_SKIP() << "script, of Debian's bsdutils, is not installed";

  EXPECT_EQ(outcome.output,
            "  1 [ERROR] a\r\n"
            "name=spdlog sinks=colour-console level=2 logger_level=2 sequence=1 registered=0\r\n");
}

TEST(LoggerSetUp, JournalThatTakesNothingFailsNoCall) {
  // Each line is offered to it, and stands on the console all the same.
  EXPECT_EQ(Probe({"true", "true", "info"}, {"info:a", "info:b"}, REFUSED_LOGGER_PROBE),
            "  1 [INFO] a\nrefused\n  2 [INFO] b\nrefused\n");
}

TEST(LoggerSetUp, SpdlogsExceptionIsDroppedAndWhatWasReachedIsKept) {
  const std::string output =
      Probe({"true", "false", "error"}, {"fail:spdlog_ex", "error:a", "state"});

  // Thrown before the pattern was set, so that the line has spdlog's own form: "[time] [name] ...".
  EXPECT_EQ(output.substr(0, 1), "[") << output;
  EXPECT_NE(output.find("  1 [ERROR] a\nname=spdlog sinks=console level=4 logger_level=2"),
            std::string::npos)
      << output;
}

TEST(LoggerSetUp, StandardErrorStaysEmpty) {
  const auto errors = [](const Environment& environment, const Strings& arguments) {
    return RunCommand(CommandLine(environment, arguments) + " 2>&1 >/dev/null").output;
  };
  EXPECT_EQ(errors({}, {"info:a"}), "");
  EXPECT_EQ(errors({"x", "y", "z"}, {"info:a"}), "");
  EXPECT_EQ(errors({"true", "false", "error"}, {"fail:spdlog_ex", "error:a"}), "");
}

TEST(LoggerSetUp, InstanceIsReleasedWhenTheProcessEnds) {
  EXPECT_EQ(Probe({"true", "false", "info"}, {"witness", "info:a"}), "  1 [INFO] a\nreleased\n");
}

TEST(LoggerSetUp, OtherExceptionsLeaveAndTheNextCallBuildsAgain) {
  EXPECT_EQ(Probe({nullptr, "false", "info"},
                  {"fail:bad_alloc", "instance:first", "instance:second", "state"}),
            std::string(kNoStdout) + "bad_alloc\n" + kNoStdout +
                "name=second sinks=console level=2 logger_level=2 sequence=0 registered=0\n");
}

// --- The journal ---

// The text of one field of a JSON line, empty where it is missing.
std::string FieldOf(const std::string& json, const std::string& name) {
  const std::string key = "\"" + name + "\":\"";
  const std::size_t start = json.find(key);
  if (start == std::string::npos) return "";
  const std::size_t value = start + key.size();
  return json.substr(value, json.find('"', value) - value);
}

Strings LinesOf(const std::string& text) {
  Strings lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    lines.push_back(text.substr(start, end - start));
    start = end == std::string::npos ? text.size() : end + 1;
  }
  return lines;
}

void ExpectEntry(const std::string& json, const std::string& message, const std::string& priority,
                 const std::string& function, const std::string& line) {
  EXPECT_EQ(FieldOf(json, "MESSAGE"), message);
  EXPECT_EQ(FieldOf(json, "PRIORITY"), priority);
  EXPECT_EQ(FieldOf(json, "SYSLOG_IDENTIFIER"), "spdlog");
  EXPECT_EQ(FieldOf(json, "CODE_FILE"), "src/dirty_seg_detector/dirty_seg_detector");
  EXPECT_EQ(FieldOf(json, "CODE_FUNC"), function);
  EXPECT_EQ(FieldOf(json, "CODE_LINE"), line);
}

TEST(Journal, EveryLevelArrivesWithItsFields) {
  const Strings commands{"debug:one", "info:two", "error:three"};
  const Outcome outcome = RunCommand(std::string(WITH_JOURNAL) + " " +
                                     CommandLine({"false", "true", "debug"}, commands));
  if (outcome.status == 77) GTEST_SKIP() << outcome.output;
  ASSERT_EQ(outcome.status, 0) << outcome.output;

  int debug_line = 0;
  int info_line = 0;
  int error_line = 0;
  Strings with_lines = commands;
  with_lines.emplace_back("lines");
  const std::string lines = Probe({"false", "false", "info"}, with_lines);
  ASSERT_EQ(
      std::sscanf(lines.c_str(), "debug=%d info=%d error=%d", &debug_line, &info_line, &error_line),
      3);

  const Strings entries = LinesOf(outcome.output);
  ASSERT_EQ(entries.size(), 3U) << outcome.output;
  ExpectEntry(entries[0], "  1 [DEBUG] one", "7", "LogDebug", std::to_string(debug_line));
  ExpectEntry(entries[1], "  2 [INFO] two", "6", "LogInfo", std::to_string(info_line));
  ExpectEntry(entries[2], "  3 [ERROR] three", "3", "LogError", std::to_string(error_line));
}

TEST(Journal, IdentifierIsTheNameOfTheLogger) {
  const Outcome outcome =
      RunCommand(std::string("JOURNAL_IDENTIFIER=other ") + WITH_JOURNAL + " " +
                 CommandLine({"false", "true", "info"}, {"instance:other", "info:one"}));
  if (outcome.status == 77) GTEST_SKIP() << outcome.output;
  ASSERT_EQ(outcome.status, 0) << outcome.output;

  EXPECT_EQ(FieldOf(outcome.output, "MESSAGE"), "  1 [INFO] one");
  EXPECT_EQ(FieldOf(outcome.output, "SYSLOG_IDENTIFIER"), "other");
}

}  // namespace
