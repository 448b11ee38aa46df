// What can be read on a colour.
#include "drawing/colour.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

TEST(TextColourOn, IsWhiteOnDarkGround) {
  EXPECT_EQ(TextColourOn({0, 0, 0}), cv::Scalar(255, 255, 255));
  EXPECT_EQ(TextColourOn({255, 255, 255}), cv::Scalar(0, 0, 0));
}

// Blue 255 has a luma of 29.07, red 76.2, green 149.7.
TEST(TextColourOn, WeighsTheChannels) {
  EXPECT_EQ(TextColourOn({255, 0, 0}), cv::Scalar(255, 255, 255));
  EXPECT_EQ(TextColourOn({0, 0, 255}), cv::Scalar(255, 255, 255));
  EXPECT_EQ(TextColourOn({0, 255, 0}), cv::Scalar(0, 0, 0));
  EXPECT_EQ(TextColourOn({255, 0, 255}), cv::Scalar(0, 0, 0));  // 105.3
}

}  // namespace
}  // namespace dirty_seg
