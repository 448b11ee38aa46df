// A run over a list that is written while it works, by a clock of the test.
#include "run/detection_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <istream>
#include <nlohmann/json.hpp>
#include <streambuf>
#include <utility>

#include "support/environment.h"
#include "support/paths.h"
#include "support/pictures.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::json;

// Lines that are made when they are asked for; an empty one ends the list.
class LiveList : public std::streambuf {
 public:
  explicit LiveList(std::function<std::string()> next) : next_(std::move(next)) {}

 protected:
  int_type underflow() override {
    line_ = next_();
    setg(line_.data(), line_.data(), line_.data() + line_.size());
    return line_.empty() ? traits_type::eof() : traits_type::to_int_type(line_.front());
  }

 private:
  std::function<std::string()> next_;
  std::string line_;
};

class RunOverAList : public testing::Test {
 protected:
  // Calls `next` for each line of the list; the clock shows `now_`.
  void Run(const std::function<std::string()>& next) {
    DetectorOptions options;
    options.model = test::CommonNetwork("seg-b2-64");
    options.config = folder_.Write("config.yaml",
                                   "patch: {enable: true, patches: [[0, 0, 64, 64], "
                                   "[640, 440, 64, 64]]}\n");
    options.threads = 1;
    ResultOptions results;
    results.output = folder_ / "out";
    LogCapture log;
    DetectorSetup setup = SetUpDetector(options);
    RunDescription description;
    description.program = "dirty_seg 9.8.7";
    DetectionRun run(std::move(setup), FitMode::kScale, std::move(description), results, log,
                     [this] { return now_; });
    LiveList lines(next);
    std::istream list(&lines);
    FrameSource source(InputQueue({"-"}, {}, list));
    EXPECT_EQ(run.Process(source, nullptr, true), kAllDone);
  }

  json Summary() { return json::parse(test::ReadFile(folder_ / "out/summary.json")); }

  test::TemporaryFolder folder_;
  double now_ = 1000.0;
  test::ScopedVariable output_{"SPDLOG_STDOUT", std::nullopt};
  test::ScopedVariable level_{"SPDLOG_LEVEL", std::nullopt};
};

TEST_F(RunOverAList, WritesItsSummaryAtTheStartEveryMinuteAndAtTheEnd) {
  const std::string red =
      test::WritePicture(folder_ / "red.png", test::Plain(test::kFrame, test::kRedPixel)) + "\n";
  int line = 0;
  std::vector<std::size_t> frames;  // that the summary tells of, before each line
  Run([&]() -> std::string {
    EXPECT_EQ(Summary()["complete"], false);
    frames.push_back(Summary()["frames"]);
    now_ += line == 1 ? 60.0 : 29.0;  // by the frame of this line: 1029, 1089, 1118, 1147, 1176
    return ++line == 5 ? "" : red;
  });
  EXPECT_THAT(frames, testing::ElementsAre(0, 0, 2, 2, 2));
  EXPECT_EQ(Summary()["frames"], 4);
  EXPECT_EQ(Summary()["complete"], true);
}

}  // namespace
}  // namespace dirty_seg
