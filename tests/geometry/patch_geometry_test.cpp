// The patch's place in the network's square, and where its pixels are sampled.
#include "geometry/patch_geometry.h"

#include <gtest/gtest.h>

#include <limits>
#include <opencv2/core.hpp>

#include "geometry/letterbox.h"
#include "support/standard_error.h"

namespace nuvik::geometry {
namespace {

using test::RejectionOf;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

// Which cell is the second does not matter where it has no weight.
void ExpectSample(const PatchGeometry::Sample& sample, int first, int second, float weight) {
  EXPECT_EQ(sample.first, first);
  if (weight != 0.0F) {
    EXPECT_EQ(sample.second, second);
  }
  EXPECT_EQ(sample.weight, weight);
}

TEST(PatchGeometry, OfANetworkSizedPatchIsTheIdentity) {
  const PatchGeometry geometry({640, 640}, 640, 160);
  EXPECT_EQ(geometry.size(), cv::Size(640, 640));
  for (const float coordinate : {0.0F, 0.5F, 1.0F, 319.25F, 639.0F, 640.0F}) {
    EXPECT_EQ(geometry.ToPatchX(coordinate), coordinate);
    EXPECT_EQ(geometry.ToPatchY(coordinate), coordinate);
  }
}

TEST(PatchGeometry, SamplesAtPixelCentresBetweenCellCentres) {
  // Pixel p has its centre at p + 0.5, which is (p + 0.5) / 4 - 0.5 in cells.
  const PatchGeometry geometry({640, 640}, 640, 160);
  for (const auto& samples : {geometry.columns(), geometry.rows()}) {
    ASSERT_EQ(samples.size(), 640U);
    ExpectSample(samples[2], 0, 1, 0.125F);
    ExpectSample(samples[3], 0, 1, 0.375F);
    ExpectSample(samples[5], 0, 1, 0.875F);
    ExpectSample(samples[6], 1, 2, 0.125F);
    ExpectSample(samples[637], 158, 159, 0.875F);
  }
}

TEST(PatchGeometry, ContinuesTheOutermostCellsOutwards) {
  const PatchGeometry geometry({640, 640}, 640, 160);
  for (const auto& samples : {geometry.columns(), geometry.rows()}) {
    ExpectSample(samples[0], 0, 1, 0.0F);
    ExpectSample(samples[1], 0, 1, 0.0F);
    ExpectSample(samples[638], 159, 159, 0.0F);
    ExpectSample(samples[639], 159, 159, 0.0F);
  }
}

TEST(PatchGeometry, OfAClippedPatchScalesUpAndSkipsTheBorder) {
  // 320 x 280 becomes 640 x 560, with 40 grey rows above and below.
  const PatchGeometry geometry({320, 280}, 640, 160);
  EXPECT_EQ(geometry.ToPatchX(0.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchX(64.0F), 32.0F);
  EXPECT_EQ(geometry.ToPatchX(640.0F), 320.0F);
  EXPECT_EQ(geometry.ToPatchY(40.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchY(100.0F), 30.0F);
  EXPECT_EQ(geometry.ToPatchY(600.0F), 280.0F);
  ASSERT_EQ(geometry.columns().size(), 320U);
  ASSERT_EQ(geometry.rows().size(), 280U);
  // Column 1 has its centre at 3 network pixels, row 0 at 41.
  ExpectSample(geometry.columns()[1], 0, 1, 0.25F);
  ExpectSample(geometry.rows()[0], 9, 10, 0.75F);
  // Row 279 has its centre at 599.
  ExpectSample(geometry.rows()[279], 149, 150, 0.25F);
}

TEST(PatchGeometry, ClipsToThePatch) {
  const PatchGeometry geometry({320, 280}, 640, 160);
  EXPECT_EQ(geometry.ToPatchX(-1.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchX(641.0F), 320.0F);
  EXPECT_EQ(geometry.ToPatchY(39.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchY(601.0F), 280.0F);
  for (const float far : {kMax, kInfinity}) {
    EXPECT_EQ(geometry.ToPatchX(-far), 0.0F);
    EXPECT_EQ(geometry.ToPatchX(far), 320.0F);
    EXPECT_EQ(geometry.ToPatchY(-far), 0.0F);
    EXPECT_EQ(geometry.ToPatchY(far), 280.0F);
  }
}

TEST(PatchGeometry, OfALargerPatchScalesDown) {
  // 960 x 540 becomes 640 x 360, with 140 rows above and below.
  const PatchGeometry geometry({960, 540}, 640, 160);
  EXPECT_EQ(geometry.ToPatchX(320.0F), 480.0F);
  EXPECT_EQ(geometry.ToPatchX(640.0F), 960.0F);
  EXPECT_EQ(geometry.ToPatchY(140.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchY(320.0F), 270.0F);
  EXPECT_EQ(geometry.ToPatchY(500.0F), 540.0F);
  // Column 1: centre at 1 network pixel. Row 3: 3.5 * 2 / 3 + 140 = 142.333 pixels, 35.08333 cells.
  ExpectSample(geometry.columns()[1], 0, 1, 0.0F);
  EXPECT_EQ(geometry.rows()[3].first, 35);
  EXPECT_EQ(geometry.rows()[3].weight, 1.0F / 12.0F);  // rounded to float once, at the end
}

TEST(PatchGeometry, OfAnUprightPatchHasItsBorderLeftAndRight) {
  const PatchGeometry geometry({280, 320}, 640, 160);
  EXPECT_EQ(geometry.ToPatchX(40.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchX(100.0F), 30.0F);
  EXPECT_EQ(geometry.ToPatchX(600.0F), 280.0F);
  EXPECT_EQ(geometry.ToPatchY(64.0F), 32.0F);
  ExpectSample(geometry.columns()[0], 9, 10, 0.75F);
  ExpectSample(geometry.rows()[1], 0, 1, 0.25F);
}

TEST(PatchGeometry, InvertsAScaledSideThatCameOutOneShort) {
  // 640 / 1101 * 1101 is 639.99994 in float, 639 truncated: 213 network pixels are a third.
  const PatchGeometry geometry({1101, 1101}, 640, 160);
  EXPECT_EQ(geometry.ToPatchX(639.0F), 1101.0F);
  EXPECT_EQ(geometry.ToPatchX(213.0F), 367.0F);
  EXPECT_EQ(geometry.ToPatchY(426.0F), 734.0F);
  // The last column has its centre at 639 - 639 / 2202 pixels, beyond the last cell's left centre.
  EXPECT_EQ(geometry.columns()[1100].first, 159);
}

TEST(PatchGeometry, RoundsHalfAnOddBorderDown) {
  // 64 x 33 stays so; 31 rows of border are 15 above, 15 below and one that is missing.
  const PatchGeometry wide({64, 33}, 64, 16);
  EXPECT_EQ(wide.ToPatchY(15.0F), 0.0F);
  EXPECT_EQ(wide.ToPatchY(16.0F), 1.0F);
  EXPECT_EQ(wide.ToPatchY(48.0F), 33.0F);
  EXPECT_EQ(wide.ToPatchX(15.0F), 15.0F);
  const PatchGeometry upright({33, 64}, 64, 16);
  EXPECT_EQ(upright.ToPatchX(15.0F), 0.0F);
  EXPECT_EQ(upright.ToPatchX(48.0F), 33.0F);
  EXPECT_EQ(upright.ToPatchY(15.0F), 15.0F);
}

TEST(PatchGeometry, TruncatesTheShorterScaledSide) {
  // 100 x 77 at 64: 49.28 becomes 49, with 7 above.
  const PatchGeometry geometry({100, 77}, 64, 16);
  EXPECT_EQ(geometry.ToPatchY(7.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchY(14.0F), 11.0F);
  EXPECT_EQ(geometry.ToPatchY(56.0F), 77.0F);
}

TEST(PatchGeometry, OfOnePixelIsPossible) {
  const PatchGeometry geometry({1, 1}, 640, 160);
  EXPECT_EQ(geometry.ToPatchX(320.0F), 0.5F);
  ASSERT_EQ(geometry.columns().size(), 1U);
  ExpectSample(geometry.columns()[0], 79, 80, 0.5F);
}

TEST(PatchGeometry, RefusesAPatchThatScalesToNothing) {
  EXPECT_EQ(RejectionOf([] {
              PatchGeometry({1920, 2}, 640, 160);
            }),
            "a patch of 1920 x 2 scales to 640 x 0; expected at least 1 x 1");
  EXPECT_EQ(RejectionOf([] {
              PatchGeometry({2, 1080}, 64, 16);
            }),
            "a patch of 2 x 1080 scales to 0 x 64; expected at least 1 x 1");
}

TEST(PatchGeometry, TakesAPatchThatScalesToOnePixel) {
  const PatchGeometry geometry({1920, 3}, 640, 160);
  // One row at 319: half of 639 rounded down.
  EXPECT_EQ(geometry.ToPatchY(319.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchY(320.0F), 3.0F);
}

TEST(PatchGeometry, TakesAnUprightPatchThatScalesToOnePixel) {
  const PatchGeometry geometry({3, 1920}, 640, 160);
  EXPECT_EQ(geometry.ToPatchX(319.0F), 0.0F);
  EXPECT_EQ(geometry.ToPatchX(320.0F), 3.0F);
}

TEST(PatchGeometry, ThereAndBackGivesThePixelAgain) {
  for (const cv::Size size : {cv::Size(640, 640), cv::Size(320, 280), cv::Size(1101, 1101),
                              cv::Size(333, 777), cv::Size(1920, 1080)}) {
    const PatchGeometry geometry(size, 640, 160);
    const cv::Size scaled = ScaleLongerSideTo(640, size);
    const SquareBorder border = BorderToSquare(scaled);
    for (int x = 0; x <= size.width; ++x) {
      const double network =
          static_cast<double>(x) * scaled.width / size.width + border.left_and_right;
      // Two roundings of a float below 1024, then stretched: half an hundredth is ample.
      ASSERT_NEAR(geometry.ToPatchX(static_cast<float>(network)), x, 0.005) << size;
    }
  }
}

}  // namespace
}  // namespace nuvik::geometry
