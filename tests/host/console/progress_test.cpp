// How far long work is, on a clock of the test's own.
#include "console/progress.h"

#include <gtest/gtest.h>

#include <vector>

namespace dirty_seg {
namespace {

TEST(ProgressText, TellsNumberRateAndTimeLeft) {
  EXPECT_EQ(ProgressText({120, 300, 60.0}), "120 of 300 frames, 2.0 frames/s, 1:30 left");
  EXPECT_EQ(ProgressText({10, 110, 0.4}), "10 of 110 frames, 25.0 frames/s, 0:04 left");
  EXPECT_EQ(ProgressText({1, 3601, 2.0}), "1 of 3601 frames, 0.5 frames/s, 2:00:00 left");
}

TEST(ProgressText, LeavesOutWhatIsNotKnown) {
  EXPECT_EQ(ProgressText({120, std::nullopt, 60.0}), "120 frames, 2.0 frames/s");
  EXPECT_EQ(ProgressText({0, 300, 1.0}), "0 of 300 frames");
}

TEST(ProgressBar, FillsAsTheWorkIsDone) {
  const std::string text = "5 of 10 frames, 1.0 frames/s, 0:05 left";  // 39 characters
  EXPECT_EQ(ProgressBar({5, 10, 5.0}, 200), "[###############...............] " + text);
  EXPECT_EQ(ProgressBar({5, 10, 5.0}, 52), "[#####.....] " + text);
  EXPECT_EQ(ProgressBar({10, 10, 5.0}, 53).substr(0, 13), "[##########] ");
}

TEST(ProgressBar, NeverIsWiderThanTheTerminal) {
  const ProgressState state{5, 10, 5.0};
  EXPECT_EQ(ProgressBar(state, 42), "5 of 10 frames, 1.0 frames/s, 0:05 left");
  EXPECT_EQ(ProgressBar(state, 15), "5 of 10 frames,");
  EXPECT_EQ(ProgressBar(state, 0), "");
}

TEST(ProgressBar, OfUnknownLengthIsAText) {
  EXPECT_EQ(ProgressBar({5, std::nullopt, 5.0}, 80), "5 frames, 1.0 frames/s");
}

class ProgressOnAClock : public testing::Test {
 protected:
  // What is said at these seconds, of which each brings another frame of ten.
  std::string SaidAt(const std::vector<double>& seconds, std::optional<int> columns) {
    testing::internal::CaptureStderr();
    {
      double now = 100.0;
      Progress progress([&now] { return now; }, columns);
      std::int64_t done = 0;
      for (const double second : seconds) {
        now = 100.0 + second;
        progress.Update(++done, 10);
      }
    }
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(ProgressOnAClock, IsALineAMinuteWithoutATerminal) {
  EXPECT_EQ(SaidAt({1.0, 59.0, 61.0, 100.0, 122.0}, std::nullopt),
            "dirty_seg: 3 of 10 frames, 0.0 frames/s, 2:22 left\n"
            "dirty_seg: 5 of 10 frames, 0.0 frames/s, 2:02 left\n");
}

TEST_F(ProgressOnAClock, IsABarThatIsRenewedAndRemovedOnATerminal) {
  EXPECT_EQ(SaidAt({0.5, 0.55, 0.7}, 50),
            "[.......] 1 of 10 frames, 2.0 frames/s, 0:05 left\r\033[K"
            "[##.....] 3 of 10 frames, 4.3 frames/s, 0:02 left\r\033[K");
}

}  // namespace
}  // namespace dirty_seg
