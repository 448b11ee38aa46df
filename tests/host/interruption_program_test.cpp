// The built program when it is interrupted, and how it tells how far it is.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>

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
  EXPECT_THAT(ReadFile(folder_ / "errors"),
              HasSubstr("dirty_seg: interrupted: 1 of 1 inputs processed; results in "));
}

TEST_F(Interrupted, WithinAVideoItLeavesWholeFiles) {
  const std::string clip = test::WriteVideo(folder_ / "long.avi",
                                            {2000, test::Plain({320, 240}, test::kRedPixel)}, 10.0);
  RunningProgram program(CommandInto({"--video", "--coco", clip}), folder_ / "output",
                         folder_ / "errors");
  ASSERT_TRUE(WaitUntil([this] { return CountLines() >= 3; }));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait(), 130);
  const std::vector<json> rows = ParseLines(ReadFile(folder_ / "out/results.jsonl"));
  EXPECT_LT(rows.size(), 2000U);
  EXPECT_EQ(Summary()["interrupted"], true);
  EXPECT_EQ(Summary()["frames"], rows.size());
  EXPECT_EQ(test::ReadVideo(folder_ / "out/long.overlay.avi").frames.size(), rows.size());
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

}  // namespace
}  // namespace dirty_seg
