// What is reported of the machine, as far as it is the same on every one.
#include "detector/environment_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include "engine/network_reader.h"
#include "support/environment.h"
#include "support/paths.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using testing::HasSubstr;
using testing::MatchesRegex;

TEST(Environment, TellsVersionsOfWhatIsLoaded) {
  const ordered_json versions = EnvironmentJson({{"dirty_seg", "9.8.7"}}, 0)["versions"];
  EXPECT_EQ(versions["dirty_seg"], "9.8.7");
  EXPECT_EQ(versions["OpenCV"], CV_VERSION);
  EXPECT_THAT(versions["ONNX Runtime"].get<std::string>(), MatchesRegex("[0-9]+\\.[0-9]+\\..*"));
}

TEST(Environment, TellsWhereLibrariesAreLoadedFrom) {
  const ordered_json libraries = EnvironmentJson({}, 0)["libraries"];
  EXPECT_THAT(libraries["libtessmar_ai_engine"].get<std::string>(),
              HasSubstr("/libtessmar_ai_engine.so"));
  EXPECT_THAT(libraries["libonnxruntime"].get<std::string>(), HasSubstr("/libonnxruntime.so"));
}

TEST(Environment, TellsWhatThreadsAskedForGive) {
  const ordered_json threads = EnvironmentJson({}, 2)["threads"];
  EXPECT_EQ(threads["asked"], 2);
  EXPECT_EQ(threads["network"], 2);
  const ordered_json all = EnvironmentJson({}, 0);
  EXPECT_EQ(all["threads"]["network"], all["processor"]["cores"]);
  const int most = all["threads"]["opencv"];
  EXPECT_EQ(threads["opencv"], std::min(2, most));
}

TEST(Environment, HandsOpenCvNoMoreThreadsThanItTakes) {
  testing::internal::CaptureStderr();
  const ordered_json threads = EnvironmentJson({}, 1024)["threads"];
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(threads["network"], 1024);
  EXPECT_EQ(threads["opencv"], EnvironmentJson({}, 0)["threads"]["opencv"]);
}

TEST(LogSetting, TellsDefaultsValuesAndSlips) {
  EXPECT_EQ(LogSettingText("SPDLOG_LEVEL", nullptr), "not set: info (least level shown)");
  EXPECT_EQ(LogSettingText("SPDLOG_LEVEL", "error"), "error (least level shown)");
  EXPECT_EQ(LogSettingText("SPDLOG_STDOUT", "false"), "false (lines on standard output)");
  EXPECT_EQ(LogSettingText("SPDLOG_LEVEL", "warn"),
            "warn (least level shown; the library by itself takes info)");
  EXPECT_EQ(
      LogSettingText("SPDLOG_LEVEL", "wraning"),
      "'wraning' is not one of trace, debug, info, warning, error, critical, so info; did you "
      "mean 'warning'?");
}

TEST(Environment, TellsTheLogSettings) {
  const test::ScopedVariable level("SPDLOG_LEVEL", "debug");
  const test::ScopedVariable journal("SPDLOG_SYSTEMD", std::nullopt);
  const ordered_json environment = EnvironmentJson({}, 0);
  EXPECT_EQ(environment["log"]["SPDLOG_LEVEL"]["value"], "debug");
  EXPECT_TRUE(environment["log"]["SPDLOG_SYSTEMD"]["value"].is_null());
  const std::string text = EnvironmentText(environment);
  EXPECT_THAT(text, HasSubstr("\nlog\n"));
  EXPECT_THAT(text, HasSubstr("  SPDLOG_LEVEL            debug (least level shown)\n"));
}

}  // namespace
}  // namespace dirty_seg
