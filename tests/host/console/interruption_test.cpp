// Signals that are noted, and a second one that is not.
#include "console/interruption.h"

#include <gtest/gtest.h>

#include <csignal>

namespace dirty_seg {
namespace {

TEST(Interruption, IsNoted) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const Interruption interruption;
    EXPECT_FALSE(Interruption::Happened());
    std::raise(signal);
    EXPECT_TRUE(Interruption::Happened());
  }
  EXPECT_FALSE(Interruption::Happened());
}

TEST(InterruptionDeathTest, EndsTheProcessTheSecondTime) {
  const auto raise_two = [](int first, int second) {
    const Interruption interruption;
    std::raise(first);
    std::raise(second);
  };
  EXPECT_EXIT(raise_two(SIGINT, SIGINT), testing::KilledBySignal(SIGINT), "");
  EXPECT_EXIT(raise_two(SIGINT, SIGTERM), testing::KilledBySignal(SIGTERM), "");
}

TEST(InterruptionDeathTest, IsGivenBackItsFormerMeaning) {
  const auto raise_after = [] {
    { const Interruption interruption; }
    std::raise(SIGINT);
  };
  EXPECT_EXIT(raise_after(), testing::KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace dirty_seg
