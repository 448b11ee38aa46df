// What frames are called in messages.
#include "frames/frame.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

TEST(FrameText, HasTheNumberWhereThereIsOne) {
  EXPECT_EQ(FrameText("a b.mp4", 12), "'a b.mp4' frame 12");
  EXPECT_EQ(FrameText("floor.mp4", 0), "'floor.mp4' frame 0");
  EXPECT_EQ(FrameText("floor.png", std::nullopt), "'floor.png'");
}

}  // namespace
}  // namespace dirty_seg
