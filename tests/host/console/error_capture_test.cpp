// Standard error of one thread, taken from libraries of C and C++.
#include "console/error_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <optional>
#include <thread>

#include "support/standard_error.h"

namespace dirty_seg {
namespace {

using nuvik::test::StandardErrorOf;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ErrorCapture, TakesWhatCAndCppStreamsWrite) {
  std::vector<std::string> taken;
  const auto write = [&taken] {
    const ErrorCapture capture;
    std::fprintf(stderr, "from C %d\n", 1);
    std::fputs("\nparted ", stderr);
    std::fputs("line\n", stderr);
    std::cerr << "from C++" << std::endl;
    std::clog << "log" << std::endl;
    taken = capture.Lines();
  };
  EXPECT_THAT(StandardErrorOf(write), IsEmpty());
  EXPECT_THAT(taken, ElementsAre("from C 1", "parted line", "from C++", "log"));
}

TEST(ErrorCapture, GivesStandardErrorBack) {
  const auto write = [] {
    { const ErrorCapture capture; }
    std::fputs("after\n", stderr);
    std::cerr << "it" << std::endl;
  };
  EXPECT_THAT(StandardErrorOf(write), ElementsAre("after", "it"));
}

TEST(ErrorCapture, LeavesOtherThreadsAlone) {
  std::vector<std::string> taken;
  const auto write = [&taken] {
    const ErrorCapture capture;
    std::thread([] { std::fputs("elsewhere\n", stderr); }).join();
    std::fputs("here\n", stderr);
    taken = capture.Lines();
  };
  EXPECT_THAT(StandardErrorOf(write), ElementsAre("elsewhere"));
  EXPECT_THAT(taken, ElementsAre("here"));
}

TEST(ErrorCapture, TellsTwoThreadsApart) {
  const auto written_by = [](const char* word) {
    const ErrorCapture capture;
    for (int i = 0; i < 1000; ++i) std::fprintf(stderr, "%s\n", word);
    return capture.Lines();
  };
  std::vector<std::string> other;
  std::thread thread([&] { other = written_by("other"); });
  const std::vector<std::string> own = written_by("own");
  thread.join();
  EXPECT_EQ(own, std::vector<std::string>(1000, "own"));
  EXPECT_EQ(other, std::vector<std::string>(1000, "other"));
}

TEST(ErrorCapture, JoinsTheLinesWithoutTheEnginesName) {
  const ErrorCapture capture;
  std::fputs("libtessmar_ai_engine: no such network\n\nand more\n", stderr);
  EXPECT_EQ(capture.Text(), "no such network; and more");
}

}  // namespace
}  // namespace dirty_seg
