#include "base/geometry_text.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

TEST(GeometryText, HasWidthBeforeHeight) {
  EXPECT_EQ(SizeText({1920, 1080}), "1920 x 1080");
  EXPECT_EQ(RectText({1, -2, 30, 40}), "[1, -2, 30, 40]");
}

}  // namespace
}  // namespace dirty_seg
