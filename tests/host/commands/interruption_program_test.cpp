// The built program when it is interrupted, and how it shows progress.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/detect_fixture.h"
#include "support/running_program.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::ParseLines;
using test::ReadFile;
using test::RunningProgram;
using test::WaitUntil;
using test::operator+;
using testing::HasSubstr;

class Interrupted : public test::DetectFixture {
 protected:
  Arguments CommandInto(const Arguments& more) {
    return Command() + Arguments{"--output", folder_ / "out"} + more;
  }

  std::size_t CountLines() {
    const std::string text = ReadFile(folder_ / "out/results.jsonl");
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }

  json Summary() { return json::parse(ReadFile(folder_ / "out/summary.json")); }
};

TEST_F(Interrupted, WhileItWaitsForAListItEndsInOrder) {
  const std::string red = Picture("red.png", test::kRedPixel);
  RunningProgram program(CommandInto({"-"}), folder_ / "output", folder_ / "errors");
  program.WriteInput(red + "\n");
  ASSERT_TRUE(WaitUntil([this] { return CountLines() == 1; }));
  program.Signal(SIGINT);
  EXPECT_EQ(program.Wait(), 130);
  EXPECT_EQ(ParseLines(ReadFile(folder_ / "out/results.jsonl")).size(), 1U);
  EXPECT_EQ(Summary()["interrupted"], true);
  EXPECT_EQ(Summary()["inputs"], 1);
  EXPECT_FALSE(Summary().contains("inputs_total"));
  EXPECT_THAT(ReadFile(folder_ / "errors"),
              HasSubstr("dirty_seg: interrupted: 1 input processed; results in "));
}

TEST_F(Interrupted, WithinAVideoItLeavesWholeFiles) {
  const std::string clip = test::WriteVideo(folder_ / "long.avi",
                                            {2000, test::Plain({320, 240}, test::kRedPixel)}, 10.0);
  RunningProgram program(CommandInto({"--video", "--coco", "missing.png", clip, clip, clip}),
                         folder_ / "output", folder_ / "errors");
  ASSERT_TRUE(WaitUntil([this] { return CountLines() >= 3; }));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 130);
  const std::vector<json> rows = ParseLines(ReadFile(folder_ / "out/results.jsonl"));
  EXPECT_LT(rows.size(), 2000U);
  EXPECT_EQ(Summary()["interrupted"], true);
  EXPECT_EQ(Summary()["frames"], rows.size());
  EXPECT_EQ(Summary()["inputs"], 2);
  EXPECT_EQ(Summary()["inputs_total"], 4);
  EXPECT_THAT(ReadFile(folder_ / "errors"),
              HasSubstr("interrupted: 0 of 4 inputs processed, 1 in part; results in "));
  EXPECT_EQ(Summary()["failures"], json::parse(R"([{"source": "missing.png",
    "cause": "cannot be opened: No such file or directory"}])"));
  EXPECT_EQ(test::ReadVideo(folder_ / "out/long.overlay.mp4").frames.size(), rows.size());
  EXPECT_EQ(json::parse(ReadFile(folder_ / "out/coco_images.json"))["images"].size(), rows.size());
  EXPECT_EQ(json::parse(ReadFile(folder_ / "out/coco_results.json"))[0]["image_id"], 1);
}

// A pseudo-terminal, and what was written to it.
class Terminal {
 public:
  Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
      throw std::runtime_error("no pseudo-terminal");
    }
    slave_ = open(path().c_str(), O_RDWR | O_NOCTTY);
  }
  ~Terminal() {
    close(slave_);
    close(master_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  std::string path() const { return ptsname(master_); }

  std::string Read() const {
    std::array<char, 65536> text{};
    const ssize_t length = read(master_, text.data(), text.size());
    return length < 0 ? "" : std::string(text.data(), static_cast<std::size_t>(length));
  }

  // All up to where `word` was shown; nothing else ends it but the test's own time limit.
  std::string ReadUntil(const std::string& word) const {
    std::string text;
    while (text.find(word) == std::string::npos) text += Read();
    return text;
  }

 private:
  int master_;
  int slave_ = -1;
};

TEST_F(Interrupted, OrNotItShowsABarOnATerminalAlone) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const Terminal terminal;
  RunningProgram program(Command() + Arguments{red, red}, folder_ / "output", terminal.path());
  EXPECT_EQ(program.Wait(), 0);
  const std::string shown = terminal.Read();
  EXPECT_THAT(shown, HasSubstr("] 1 of 2 frames, "));
  EXPECT_EQ(shown.substr(shown.size() - 4), "\r\033[K");
  EXPECT_EQ(ParseLines(ReadFile(folder_ / "output")).size(), 2U);
}

TEST_F(Interrupted, OrNotItShowsNoBarWhenQuietOrAmongResults) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const Terminal terminal;
  RunningProgram quiet(Command() + Arguments{"-q", red}, folder_ / "output", terminal.path());
  EXPECT_EQ(quiet.Wait(), 0);
  RunningProgram mixed(Command() + Arguments{red}, terminal.path(), terminal.path());
  EXPECT_EQ(mixed.Wait(), 0);
  EXPECT_EQ(terminal.Read().substr(0, 20), "{\"schema_version\":1,");
}

// ---- bench and report ---------------------------------------------------------------------------

TEST_F(Interrupted, BenchPrintsWhatItHadMeasured) {
  const std::string clip = test::WriteVideo(folder_ / "long.avi",
                                            {2000, test::Plain({320, 240}, test::kRedPixel)}, 10.0);
  for (const bool as_json : {true, false}) {
    Arguments command = Command() + Arguments{"--rounds", "2", clip};
    command[0] = "bench";
    if (as_json) command.emplace_back("--json");
    const Terminal terminal;
    RunningProgram program(command, folder_ / "output", terminal.path());
    terminal.ReadUntil(" frames/s, ");
    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 130);
    EXPECT_THAT(terminal.Read(), HasSubstr("\r\033[Kdirty_seg: interrupted: frames measured: "));
    const std::string output = ReadFile(folder_ / "output");
    if (as_json) {
      EXPECT_EQ(json::parse(output)["interrupted"], true);
      EXPECT_GE(json::parse(output)["frames"], 1);
      EXPECT_LT(json::parse(output)["frames"], 2000);
    } else {
      EXPECT_THAT(output, HasSubstr(" of warm-up; cut short by an interrupt\n"));
    }
    std::filesystem::remove(folder_ / "output");
  }
}

TEST_F(Interrupted, BenchEndsWithinAFrameOfManyRounds) {
  Arguments command =
      Command() + Arguments{"--rounds", "1000000", "--json", Picture("red.png", test::kRedPixel)};
  command[0] = "bench";
  const Terminal terminal;
  RunningProgram program(command, folder_ / "output", terminal.path());
  terminal.ReadUntil("] 0 of 1 frames");
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 130);
  const json root = json::parse(ReadFile(folder_ / "output"));
  EXPECT_EQ(root["frames"], 1);
  EXPECT_GT(root["a"]["timing_ms"]["total"]["p50"], 0.0);
}

TEST_F(Interrupted, ReportLeavesNothing) {
  const std::string red = Picture("red.png", test::kRedPixel);
  ASSERT_EQ(test::RunProgram(CommandInto({red})).status, 0);
  const std::string line = ReadFile(folder_ / "out/results.jsonl");
  std::string lines;
  for (int i = 0; i < 2000; ++i) lines += line;
  const std::string results = folder_.Write("out/results.jsonl", lines);
  const Terminal terminal;
  RunningProgram program({"report", results, "--max-frames", "2000"}, folder_ / "output",
                         terminal.path());
  terminal.ReadUntil(" frames/s, ");
  EXPECT_TRUE(std::filesystem::exists(folder_ / "out/report.html.part"));
  program.Signal(SIGINT);
  EXPECT_EQ(program.Wait(), 130);
  EXPECT_THAT(terminal.Read(),
              testing::EndsWith("\r\033[Kdirty_seg: interrupted: no page is written\r\n"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out/report.html.part"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out/report.html"));
}

}  // namespace
}  // namespace dirty_seg
