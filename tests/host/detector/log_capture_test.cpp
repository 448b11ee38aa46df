// Standard output under the log capture. The library's log is played by printf.
#include "detector/log_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <utility>

#include "support/environment.h"

namespace dirty_seg {
namespace {

using test::ScopedVariable;
using test::Variable;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kLine = "  1 [INFO] Total crops: 6";
constexpr const char* kNotice = "environment variable SPDLOG_SYSTEMD is invalid, and set false";

struct Written {
  std::string output;
  std::string errors;
};

// What `use` of a capture leaves on the real streams when the user set SPDLOG_STDOUT and
// SPDLOG_LEVEL so.
Written RunCapture(const std::optional<std::string>& user_choice, const LogOptions& options,
                   const std::function<void(LogCapture&)>& use,
                   const std::optional<std::string>& user_level = std::nullopt) {
  const ScopedVariable choice("SPDLOG_STDOUT", user_choice);
  const ScopedVariable journal("SPDLOG_SYSTEMD", std::nullopt);
  const ScopedVariable level("SPDLOG_LEVEL", user_level);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  {
    LogCapture log(options);
    use(log);
  }
  const std::string errors = testing::internal::GetCapturedStderr();
  return {testing::internal::GetCapturedStdout(), errors};
}

void LogOneLine(LogCapture& log) {
  std::printf("%s\n", kLine);
  log.TakeLines();
}

TEST(LogCapture, KeepsTheLogOffStandardOutput) {
  std::vector<std::string> lines;
  const Written written = RunCapture(std::nullopt, {}, [&lines](LogCapture& log) {
    std::printf("%s\nlast", kLine);
    lines = log.TakeLines();
  });
  EXPECT_THAT(lines, ElementsAre(kLine, "last"));
  EXPECT_EQ(written.output, "");
  EXPECT_EQ(written.errors, "");
}

TEST(LogCapture, LeavesStandardOutputToTheProgram) {
  const Written written = RunCapture(std::nullopt, {}, [](LogCapture& log) {
    LogOneLine(log);
    std::fputs("{}\n", log.standard_output());
  });
  EXPECT_EQ(written.output, "{}\n");
}

TEST(LogCapture, GivesStandardOutputBack) {
  testing::internal::CaptureStdout();
  {
    const ScopedVariable choice("SPDLOG_STDOUT", std::nullopt);
    LogCapture log;
    std::printf("captured\n");
  }
  std::printf("free again\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "free again\n");
}

TEST(LogCapture, PassesOnWhatTheUserWants) {
  for (const char* const choice : {"true", "1", ""}) {
    const Written written = RunCapture(choice, {}, LogOneLine);
    EXPECT_EQ(written.output, std::string(kLine) + "\n") << choice;
    EXPECT_EQ(written.errors, "") << choice;
  }
}

TEST(LogCapture, KeepsBackWhatTheUserRefuses) {
  std::vector<std::string> lines;
  std::optional<std::string> for_the_library;
  const Written written = RunCapture("false", {}, [&](LogCapture& log) {
    for_the_library = Variable("SPDLOG_STDOUT");
    std::printf("%s\n", kLine);
    lines = log.TakeLines();
  });
  EXPECT_EQ(written.output, "");
  EXPECT_EQ(for_the_library, "true");  // stage times and causes are still needed
  EXPECT_THAT(lines, ElementsAre(kLine));
}

TEST(LogCapture, ShowsTheLogOnStandardErrorWhenVerbose) {
  const Written written = RunCapture(std::nullopt, {true, false, ""}, LogOneLine);
  EXPECT_EQ(written.output, "");
  EXPECT_EQ(written.errors, std::string(kLine) + "\n");
}

TEST(LogCapture, ShowsANoticeOnceAlsoWhenNotVerbose) {
  const auto log_notice = [](LogCapture& log) {
    std::printf("%s\n", kNotice);
    log.TakeLines();
  };
  EXPECT_EQ(RunCapture(std::nullopt, {}, log_notice).errors, std::string(kNotice) + "\n");
  EXPECT_EQ(RunCapture(std::nullopt, {true, false, ""}, log_notice).errors,
            std::string(kNotice) + "\n");
  const Written wanted = RunCapture("true", {}, log_notice);
  EXPECT_EQ(wanted.output, std::string(kNotice) + "\n");
  EXPECT_EQ(wanted.errors, "");
}

TEST(LogCapture, KeepsANoticeFromWhoWantsQuiet) {
  LogOptions options;
  options.quiet = true;
  const Written written = RunCapture(std::nullopt, options, [](LogCapture& log) {
    std::printf("%s\n", kNotice);
    log.TakeLines();
  });
  EXPECT_EQ(written.output, "");
  EXPECT_EQ(written.errors, "");
}

TEST(LogCapture, HasTheLibraryLogWhatResultsAreMadeFrom) {
  struct Case {
    const char* word;
    const char* for_the_library;
  };
  for (const Case& one : {Case{"trace", "trace"}, Case{"debug", "debug"}, Case{"info", "info"},
                          Case{"warning", "info"}, Case{"err", "info"}, Case{"off", "info"}}) {
    for (const char* const journal : {"false", "true"}) {  // which gets the lines too
      const ScopedVariable journal_variable("SPDLOG_SYSTEMD", journal);
      const ScopedVariable output("SPDLOG_STDOUT", std::nullopt);
      {
        const ScopedVariable level("SPDLOG_LEVEL", one.word);
        const LogCapture log;
        EXPECT_EQ(Variable("SPDLOG_LEVEL"), one.for_the_library) << one.word << " " << journal;
      }
      const ScopedVariable level("SPDLOG_LEVEL", "trace");  // in whose place the option stands
      LogOptions options;
      options.level = one.word;
      const LogCapture log(options);
      EXPECT_EQ(Variable("SPDLOG_LEVEL"), one.for_the_library) << one.word << " " << journal;
    }
  }
}

constexpr const char* kLevels =
    "  1 [DEBUG] a\n  2 [INFO] b\nrest of b\n  3 [ERROR] c\nrest of c\n  4 [INFO] d\n";

// All lines of `kLevels` are taken, whatever is shown.
void LogAtEveryLevel(LogCapture& log) {
  std::fputs(kLevels, stdout);
  EXPECT_EQ(log.TakeLines().size(), 6U);
}

TEST(LogCapture, ShowsTheLinesFromAChosenLevelOn) {
  const std::string text = kLevels;
  const auto shown = [](const char* level) {
    LogOptions options;
    options.level = level;
    return RunCapture(std::nullopt, options, LogAtEveryLevel).errors;
  };
  EXPECT_EQ(shown("trace"), text);
  EXPECT_EQ(shown("info"), text.substr(text.find("  2")));
  for (const char* level : {"warning", "warn", "error", "err"}) {
    EXPECT_EQ(shown(level), "  3 [ERROR] c\nrest of c\n") << level;
  }
  EXPECT_EQ(shown("critical"), "");
  EXPECT_EQ(shown("off"), "");
}

TEST(LogCapture, ShowsTheLinesFromTheVariablesLevelOn) {
  const auto shown = [](const char* level, const std::optional<std::string>& output) {
    return RunCapture(output, {true, false, ""}, LogAtEveryLevel, level);
  };
  for (const char* level : {"warning", "warn", "error", "err"}) {
    EXPECT_EQ(shown(level, std::nullopt).errors, "  3 [ERROR] c\nrest of c\n") << level;
    EXPECT_EQ(shown(level, "true").output, "  3 [ERROR] c\nrest of c\n") << level;
  }
  EXPECT_EQ(shown("off", std::nullopt).errors, "");
  EXPECT_EQ(shown("debug", std::nullopt).errors, kLevels);
}

TEST(LogCapture, NamesALevelThatIsNoneAndTakesInfo) {
  const std::string reported =
      "dirty_seg: warning: SPDLOG_LEVEL is 'wran', not one of trace, debug, info, warning, warn, "
      "error, err, critical, off; info is used; did you mean 'warn'?\n";
  const std::string shown = std::string(kLevels).substr(std::string(kLevels).find("  2"));
  EXPECT_EQ(RunCapture(std::nullopt, {true, false, ""}, LogAtEveryLevel, "wran").errors,
            reported + shown);
  EXPECT_EQ(RunCapture(std::nullopt, {false, true, ""}, LogAtEveryLevel, "wran").errors, "");
}

TEST(LogCapture, ShowsLinesAsTheyAreButForWhatATerminalActsOn) {
  const auto log_name = [](LogCapture& log) {
    std::printf("  1 [INFO] patch 0 检测出目标数量为 3 \033c\n");
    log.TakeLines();
  };
  const std::string shown = "  1 [INFO] patch 0 检测出目标数量为 3 \\x1bc\n";
  EXPECT_EQ(RunCapture(std::nullopt, {true, false, ""}, log_name).errors, shown);
  EXPECT_EQ(RunCapture("true", {}, log_name).output, shown);
}

TEST(LogCapture, ShowsTheLogToWhoChoosesALevel) {
  LogOptions options;
  options.level = "info";
  EXPECT_EQ(RunCapture(std::nullopt, options, LogOneLine).errors, std::string(kLine) + "\n");
}

TEST(LogCapture, GivesEachLineOnce) {
  RunCapture(std::nullopt, {}, [](LogCapture& log) {
    std::printf("one\n");
    EXPECT_THAT(log.TakeLines(), ElementsAre("one"));
    std::printf("two\n");
    EXPECT_THAT(log.TakeLines(), ElementsAre("two"));
    EXPECT_THAT(log.TakeLines(), IsEmpty());
  });
}

TEST(LogCapture, TakesMoreThanAPipeHolds) {
  const std::string line(1000, 'x');
  const std::size_t count = 3000;
  RunCapture(std::nullopt, {}, [&](LogCapture& log) {
    for (std::size_t i = 0; i < count; ++i) std::printf("%s\n", line.c_str());
    const std::vector<std::string> lines = log.TakeLines();
    ASSERT_EQ(lines.size(), count);
    EXPECT_EQ(lines.back(), line);
  });
}

TEST(LogCapture, SetsOnlyWhatTheUserLeftUnset) {
  RunCapture(std::nullopt, {}, [](LogCapture&) {
    EXPECT_EQ(Variable("SPDLOG_STDOUT"), "true");
    EXPECT_EQ(Variable("SPDLOG_SYSTEMD"), "false");
    EXPECT_EQ(Variable("SPDLOG_LEVEL"), "info");
  });
  const ScopedVariable choice("SPDLOG_STDOUT", "TRUE");
  const ScopedVariable journal("SPDLOG_SYSTEMD", "true");
  const ScopedVariable level("SPDLOG_LEVEL", std::nullopt);
  const LogCapture log;
  EXPECT_EQ(Variable("SPDLOG_STDOUT"), "TRUE");
  EXPECT_EQ(Variable("SPDLOG_SYSTEMD"), "true");
}

}  // namespace
}  // namespace dirty_seg
