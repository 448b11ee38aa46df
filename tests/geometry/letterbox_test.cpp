// Geometry that cropping and decoding share.
#include "geometry/letterbox.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

namespace nuvik::geometry {
namespace {

TEST(Frame, Is1920By1080) {
  EXPECT_EQ(kFrameWidth, 1920);
  EXPECT_EQ(kFrameHeight, 1080);
  EXPECT_EQ(FrameSize(), cv::Size(1920, 1080));
}

// The value is hidden from the compiler, which folds a conversion that overflows into another
// result than the processor's.
int Saturate(float value) {
  const volatile float hidden = value;
  return SaturateToInt(hidden);
}

TEST(SaturateToInt, TruncatesTowardZero) {
  EXPECT_EQ(Saturate(2.9F), 2);
  EXPECT_EQ(Saturate(-2.9F), -2);
  EXPECT_EQ(Saturate(-0.5F), 0);
}

TEST(SaturateToInt, KeepsWholeNumbers) {
  EXPECT_EQ(Saturate(0.0F), 0);
  EXPECT_EQ(Saturate(1080.0F), 1080);
  EXPECT_EQ(Saturate(-16777216.0F), -16777216);
}

TEST(SaturateToInt, NotANumberIsZero) {
  EXPECT_EQ(Saturate(std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(Saturate(-std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(SaturateToInt, InfinityBecomesTheLimits) {
  EXPECT_EQ(Saturate(std::numeric_limits<float>::infinity()), INT_MAX);
  EXPECT_EQ(Saturate(-std::numeric_limits<float>::infinity()), INT_MIN);
}

TEST(SaturateToInt, TwoToThe31IsAboveTheLargestInt) {
  EXPECT_EQ(Saturate(2147483648.0F), INT_MAX);
  EXPECT_EQ(Saturate(3.0e9F), INT_MAX);
}

TEST(SaturateToInt, LargestFloatBelowTwoToThe31IsExact) {
  EXPECT_EQ(Saturate(2147483520.0F), 2147483520);
}

TEST(SaturateToInt, MinusTwoToThe31IsTheSmallestInt) {
  EXPECT_EQ(Saturate(-2147483648.0F), INT_MIN);
  EXPECT_EQ(Saturate(-2147483904.0F), INT_MIN);
  EXPECT_EQ(Saturate(-2147483520.0F), -2147483520);
}

TEST(ClipFarEdges, PatchInsideStays) {
  EXPECT_EQ(ClipFarEdges({10, 20, 300, 400}, {1920, 1080}), cv::Rect(10, 20, 300, 400));
}

TEST(ClipFarEdges, PatchThatEndsAtTheEdgeStays) {
  EXPECT_EQ(ClipFarEdges({1280, 440, 640, 640}, {1920, 1080}), cv::Rect(1280, 440, 640, 640));
}

TEST(ClipFarEdges, RightAndLowerEdgeAreClipped) {
  EXPECT_EQ(ClipFarEdges({1600, 800, 640, 640}, {1920, 1080}), cv::Rect(1600, 800, 320, 280));
}

TEST(ClipFarEdges, NegativeOriginStays) {
  EXPECT_EQ(ClipFarEdges({-10, -20, 100, 100}, {1920, 1080}), cv::Rect(-10, -20, 100, 100));
}

TEST(ClipFarEdges, PatchThatStartsAtTheEdgeHasNothingLeft) {
  const cv::Rect clipped = ClipFarEdges({1920, 1080, 5, 5}, {1920, 1080});

  EXPECT_EQ(clipped.width, 0);
  EXPECT_EQ(clipped.height, 0);
}

TEST(ClipFarEdges, PatchBeyondTheEdgeHasANegativeSize) {
  const cv::Rect clipped = ClipFarEdges({2000, 1100, 5, 5}, {1920, 1080});

  EXPECT_EQ(clipped.width, -80);
  EXPECT_EQ(clipped.height, -20);
}

TEST(ClipFarEdges, FarEdgeBeyondTheLargestIntDoesNotOverflow) {
  EXPECT_EQ(ClipFarEdges({10, 20, INT_MAX, INT_MAX}, {1920, 1080}), cv::Rect(10, 20, 1910, 1060));
}

TEST(ClipFarEdges, LargestOriginIsBeyondTheImage) {
  const cv::Rect clipped = ClipFarEdges({INT_MAX, INT_MAX, INT_MAX, INT_MAX}, {1920, 1080});

  EXPECT_EQ(clipped.width, 1920 - INT_MAX);
  EXPECT_EQ(clipped.height, 1080 - INT_MAX);
}

TEST(ClipFarEdges, SmallestOriginDoesNotOverflow) {
  EXPECT_EQ(ClipFarEdges({INT_MIN, INT_MIN, INT_MAX, INT_MIN}, {1920, 1080}),
            cv::Rect(INT_MIN, INT_MIN, INT_MAX, INT_MIN));
}

TEST(ScaleLongerSideTo, HalvesAndDoubles) {
  EXPECT_EQ(ScaleLongerSideTo(640, {1280, 960}), cv::Size(640, 480));
  EXPECT_EQ(ScaleLongerSideTo(640, {320, 280}), cv::Size(640, 560));
}

TEST(ScaleLongerSideTo, FullFrameTo640Is640By360) {
  EXPECT_EQ(ScaleLongerSideTo(640, {1920, 1080}), cv::Size(640, 360));
}

TEST(ScaleLongerSideTo, TallerSideGovernsATallSource) {
  EXPECT_EQ(ScaleLongerSideTo(640, {270, 480}), cv::Size(360, 640));
}

TEST(ScaleLongerSideTo, FractionIsTruncated) {
  // 640 / 1000 * 333 = 213.12 and 640 / 1000 * 999 = 639.36.
  EXPECT_EQ(ScaleLongerSideTo(640, {1000, 333}), cv::Size(640, 213));
  EXPECT_EQ(ScaleLongerSideTo(640, {999, 1000}), cv::Size(639, 640));
}

TEST(ScaleLongerSideTo, FloatProductCanComeOutOneShort) {
  // The float nearest to 640 / 1101 is below it, and its product with 1101 rounds below 640.
  EXPECT_EQ(ScaleLongerSideTo(640, {1101, 1101}), cv::Size(639, 639));
  EXPECT_EQ(ScaleLongerSideTo(640, {1101, 600}), cv::Size(639, 348));
}

TEST(ScaleLongerSideTo, EmptySourceGivesNoUndefinedSize) {
  // 640 / 0 is infinite, times 0 not a number.
  EXPECT_EQ(ScaleLongerSideTo(640, {0, 0}), cv::Size(0, 0));
}

TEST(ScaleLongerSideTo, ThinSideCanVanish) {
  EXPECT_EQ(ScaleLongerSideTo(640, {1920, 2}), cv::Size(640, 0));
}

TEST(BorderToSquare, WideSizeIsPaddedAboveAndBelow) {
  const SquareBorder border = BorderToSquare({640, 480});

  EXPECT_EQ(border.top_and_bottom, 80);
  EXPECT_EQ(border.left_and_right, 0);
}

TEST(BorderToSquare, TallSizeIsPaddedLeftAndRight) {
  const SquareBorder border = BorderToSquare({480, 640});

  EXPECT_EQ(border.top_and_bottom, 0);
  EXPECT_EQ(border.left_and_right, 80);
}

TEST(BorderToSquare, OddDifferenceIsRoundedDown) {
  EXPECT_EQ(BorderToSquare({103, 100}).top_and_bottom, 1);
  EXPECT_EQ(BorderToSquare({100, 103}).left_and_right, 1);
  EXPECT_EQ(BorderToSquare({101, 100}).top_and_bottom, 0);
}

TEST(BorderToSquare, SquareHasNone) {
  const SquareBorder border = BorderToSquare({640, 640});

  EXPECT_EQ(border.top_and_bottom, 0);
  EXPECT_EQ(border.left_and_right, 0);
}

}  // namespace
}  // namespace nuvik::geometry
