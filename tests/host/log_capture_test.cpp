// Standard output under the log capture. The library's log is played by printf.
#include "host/log_capture.h"

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
constexpr const char* kNotice =
    "environment variable SPDLOG_LEVEL is invalid, and set default level";

struct Written {
  std::string output;
  std::string errors;
};

// What `use` of a capture leaves on the real streams when the user set SPDLOG_STDOUT so.
Written RunCapture(const std::optional<std::string>& user_choice, const LogOptions& options,
                   const std::function<void(LogCapture&)>& use) {
  const ScopedVariable choice("SPDLOG_STDOUT", user_choice);
  const ScopedVariable journal("SPDLOG_SYSTEMD", std::nullopt);
  const ScopedVariable level("SPDLOG_LEVEL", std::nullopt);
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

TEST(LogCapture, PutsALevelInThePlaceOfTheVariable) {
  struct Case {
    const char* word;
    const char* for_the_library;   // times and causes are still needed
    const char* with_the_journal;  // which gets the lines too
  };
  for (const Case& one : {Case{"debug", "debug", "debug"}, Case{"warn", "info", "warning"},
                          Case{"off", "info", "critical"}}) {
    LogOptions options;
    options.level = one.word;
    for (const bool has_journal : {false, true}) {
      const ScopedVariable level("SPDLOG_LEVEL", "error");
      const ScopedVariable journal("SPDLOG_SYSTEMD", has_journal ? "true" : "false");
      const LogCapture log(options);
      EXPECT_EQ(Variable("SPDLOG_LEVEL"), has_journal ? one.with_the_journal : one.for_the_library)
          << one.word;
    }
  }
}

TEST(LogCapture, ShowsTheLinesFromAChosenLevelOn) {
  const std::string text =
      "  1 [DEBUG] a\n  2 [INFO] b\nrest of b\n  3 [ERROR] c\nrest of c\n  4 [INFO] d\n";
  const auto shown = [&](const char* level) {
    LogOptions options;
    options.level = level;
    std::vector<std::string> taken;
    const Written written = RunCapture(std::nullopt, options, [&](LogCapture& log) {
      std::fputs(text.c_str(), stdout);
      taken = log.TakeLines();
    });
    EXPECT_EQ(taken.size(), 6U) << level;
    return written.errors;
  };
  EXPECT_EQ(shown("trace"), text);
  EXPECT_EQ(shown("info"), text.substr(text.find("  2")));
  EXPECT_EQ(shown("warn"), "  3 [ERROR] c\nrest of c\n");
  EXPECT_EQ(shown("critical"), "");
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
  const ScopedVariable level("SPDLOG_LEVEL", "error");
  const LogCapture log;
  EXPECT_EQ(Variable("SPDLOG_STDOUT"), "TRUE");
  EXPECT_EQ(Variable("SPDLOG_SYSTEMD"), "true");
  EXPECT_EQ(Variable("SPDLOG_LEVEL"), "error");
}

}  // namespace
}  // namespace dirty_seg
