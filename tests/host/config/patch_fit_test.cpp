// Worked out by hand; tests/detector/patch_fit_test.cpp holds the same function against crops.
#include "config/patch_fit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

const cv::Size kMax(1920, 1080);

TEST(PatchFit, OfASquareIsWholeAndWithoutGrey) {
  const PatchFit fit = FitPatch({640, 640}, 640);
  EXPECT_EQ(fit.scaled, cv::Size(640, 640));
  EXPECT_EQ(fit.square, cv::Size(640, 640));
  EXPECT_EQ(fit.grey, 0.0);
  EXPECT_EQ(fit.shrunk, 1.0);
  EXPECT_TRUE(fit.is_whole);
}

TEST(PatchFit, OfAFrameLosesSevenSixteenths) {
  const PatchFit fit = FitPatch({1920, 1080}, 640);
  EXPECT_EQ(fit.scaled, cv::Size(640, 360));
  EXPECT_DOUBLE_EQ(fit.grey, 0.4375);
  EXPECT_DOUBLE_EQ(fit.shrunk, 3.0);
  EXPECT_TRUE(fit.is_whole);
}

TEST(PatchFit, WithAnOddDifferenceStaysAPixelShort) {
  const PatchFit fit = FitPatch({640, 639}, 640);
  EXPECT_EQ(fit.scaled, cv::Size(640, 639));
  EXPECT_EQ(fit.square, cv::Size(640, 639));
  EXPECT_FALSE(fit.is_whole);
}

// 640 / 41 in float is below the quotient, and 41 times that below 640.
TEST(PatchFit, LosesAPixelOfTheLongerSideToTheFloatProduct) {
  int short_ones = 0;
  for (int width = 1; width <= 1920; ++width) {
    const PatchFit fit = FitPatch({width, width}, 640);
    short_ones += fit.scaled.width == 639 ? 1 : 0;
    EXPECT_GE(fit.scaled.width, 639) << width;
    EXPECT_LE(fit.scaled.width, 640) << width;
    EXPECT_EQ(fit.is_whole, fit.scaled.width == 640) << width;
  }
  EXPECT_GT(short_ones, 0);
}

TEST(PatchFit, OfAPatchThatVanishesIsNotWhole) {
  const PatchFit fit = FitPatch({1920, 1}, 64);
  EXPECT_EQ(fit.scaled.height, 0);
  EXPECT_FALSE(fit.is_whole);
}

TEST(NearestWholeSizes, AreWholeAndAsNearAsCanBe) {
  const cv::Size patch(640, 639);
  const std::vector<cv::Size> sizes = NearestWholeSizes(patch, 640, kMax);
  EXPECT_THAT(sizes, testing::ElementsAre(cv::Size(640, 640), cv::Size(640, 638)));
}

TEST(NearestWholeSizes, StayInTheFrame) {
  for (const cv::Size& size : NearestWholeSizes({640, 639}, 640, {640, 639})) {
    EXPECT_LE(size.width, 640);
    EXPECT_LE(size.height, 639);
    EXPECT_TRUE(FitPatch(size, 640).is_whole);
  }
}

TEST(SmallestWholeSize, IsTheSizeItselfWhereThatIsWhole) {
  EXPECT_EQ(SmallestWholeSize({640, 360}, 640, kMax), cv::Size(640, 360));
}

TEST(SmallestWholeSize, IsNowhereSmaller) {
  for (int width = 500; width < 700; width += 7) {
    const cv::Size least(width, 580);
    const cv::Size size = SmallestWholeSize(least, 640, kMax);
    ASSERT_FALSE(size.empty()) << width;
    EXPECT_TRUE(FitPatch(size, 640).is_whole);
    EXPECT_GE(size.width, least.width);
    EXPECT_GE(size.height, least.height);
  }
}

TEST(SmallestWholeSize, IsEmptyWhereNoneIsLeft) {
  EXPECT_TRUE(SmallestWholeSize({640, 639}, 640, {640, 639}).empty());
}

}  // namespace
}  // namespace dirty_seg
