// The patch's place in the network's square, and the painting of masks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "common/sole_owner.h"
#include "decode/mask_painter.h"
#include "geometry/letterbox.h"
#include "support/fenced_memory.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using geometry::PatchGeometry;
using perception::dirty_seg_detector::FencedMemory;
using test::RejectionOf;
using testing::ElementsAre;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kMost = std::numeric_limits<float>::max();

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
  for (const float far : {kMost, kInfinity}) {
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
    const cv::Size scaled = geometry::ScaleLongerSideTo(640, size);
    const geometry::SquareBorder border = geometry::BorderToSquare(scaled);
    for (int x = 0; x <= size.width; ++x) {
      const double network =
          static_cast<double>(x) * scaled.width / size.width + border.left_and_right;
      // Two roundings of a float below 1024, then stretched: half an hundredth is ample.
      ASSERT_NEAR(geometry.ToPatchX(static_cast<float>(network)), x, 0.005) << size;
    }
  }
}

// Prototypes of `side` x `side` cells, all 0 at first.
class Planes {
 public:
  Planes(int coefficients, int side)
      : coefficients_(coefficients),
        side_(side),
        values_(static_cast<std::size_t>(coefficients * side * side)) {}

  float& At(int k, int row, int column) {
    return values_.at(static_cast<std::size_t>((k * side_ + row) * side_ + column));
  }

  void Fill(int k, float value) {
    const auto plane = values_.begin() + static_cast<std::ptrdiff_t>(k) * side_ * side_;
    std::fill(plane, plane + static_cast<std::ptrdiff_t>(side_) * side_, value);
  }

  MaskPainter::Prototypes View() const { return {values_.data(), coefficients_, side_}; }

 private:
  int coefficients_;
  int side_;
  std::vector<float> values_;
};

cv::Rect Whole(const PatchGeometry& geometry) { return {cv::Point(0, 0), geometry.size()}; }

// A mask as text, '#' for 255 and '.' for 0, '?' for anything else.
std::vector<std::string> Rows(const cv::Mat& mask) {
  std::vector<std::string> rows;
  for (int y = 0; y < mask.rows; ++y) {
    std::string row;
    for (int x = 0; x < mask.cols; ++x) {
      const int value = mask.at<std::uint8_t>(y, x);
      row += value == 255 ? '#' : (value == 0 ? '.' : '?');
    }
    rows.push_back(row);
  }
  return rows;
}

// An 8 x 8 patch over 4 x 4 cells. Its pixels lie at these cells:
// 0 (clipped), 0.25, 0.75, 1.25, 1.75, 2.25, 2.75, 3 (clipped).
PatchGeometry EightByEight() { return {{8, 8}, 8, 4}; }

std::vector<std::string> PaintEight(const Planes& planes, const std::vector<float>& coefficients,
                                    const cv::Rect& box, float threshold) {
  MaskPainter painter;
  return Rows(painter.Paint(planes.View(), coefficients.data(), EightByEight(), box, threshold));
}

constexpr std::size_t kSide = 8;

TEST(MaskPainter, GivesAMaskAsLargeAsThePatchInOneByteAPixel) {
  const PatchGeometry geometry({320, 280}, 640, 160);
  const Planes planes(1, 160);
  const float coefficient = 1.0F;
  MaskPainter painter;
  const cv::Mat mask =
      painter.Paint(planes.View(), &coefficient, geometry, cv::Rect(3, 4, 5, 6), 0.0F);
  EXPECT_EQ(mask.size(), cv::Size(320, 280));
  EXPECT_EQ(mask.type(), CV_8UC1);
}

TEST(MaskPainter, APixelIsMaskOnlyAboveTheThreshold) {
  Planes planes(1, 4);
  planes.Fill(0, 0.5F);
  const cv::Rect whole(0, 0, 8, 8);
  EXPECT_EQ(PaintEight(planes, {2.0F}, whole, 1.0F), std::vector<std::string>(kSide, "........"));
  EXPECT_EQ(PaintEight(planes, {2.0F}, whole, std::nextafter(1.0F, 0.0F)),
            std::vector<std::string>(kSide, "########"));
}

TEST(MaskPainter, SamplesColumnsBilinearly) {
  Planes planes(1, 4);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      planes.At(0, row, column) = static_cast<float>(column);
    }
  }
  const cv::Rect whole(0, 0, 8, 8);
  // The logits of a row are 0, 0.25, 0.75, 1.25, 1.75, 2.25, 2.75, 3.
  const std::array<std::pair<float, const char*>, 9> expected{{{-0.125F, "########"},
                                                               {0.0F, ".#######"},
                                                               {0.25F, "..######"},
                                                               {0.75F, "...#####"},
                                                               {1.25F, "....####"},
                                                               {1.75F, ".....###"},
                                                               {2.25F, "......##"},
                                                               {2.75F, ".......#"},
                                                               {3.0F, "........"}}};
  for (const auto& [threshold, row] : expected) {
    EXPECT_EQ(PaintEight(planes, {1.0F}, whole, threshold), std::vector<std::string>(kSide, row))
        << threshold;
  }
}

TEST(MaskPainter, SamplesRowsBilinearly) {
  Planes planes(1, 4);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) planes.At(0, row, column) = static_cast<float>(row);
  }
  const cv::Rect whole(0, 0, 8, 8);
  EXPECT_THAT(PaintEight(planes, {1.0F}, whole, 1.25F),
              ElementsAre("........", "........", "........", "........", "########", "########",
                          "########", "########"));
  EXPECT_THAT(PaintEight(planes, {1.0F}, whole, 0.25F),
              ElementsAre("........", "........", "########", "########", "########", "########",
                          "########", "########"));
}

TEST(MaskPainter, OneCellSpreadsAsTheProductOfBothWeights) {
  Planes planes(1, 4);
  planes.At(0, 1, 1) = 1.0F;
  const cv::Rect whole(0, 0, 8, 8);
  // The weights of cell 1 at pixels 1 to 4 are 0.25, 0.75, 0.75, 0.25.
  EXPECT_THAT(PaintEight(planes, {1.0F}, whole, 0.1875F),
              ElementsAre("........", "........", "..##....", "..##....", "........", "........",
                          "........", "........"));
  EXPECT_THAT(PaintEight(planes, {1.0F}, whole, 0.0625F),
              ElementsAre("........", "..##....", ".####...", ".####...", "..##....", "........",
                          "........", "........"));
  EXPECT_THAT(PaintEight(planes, {1.0F}, whole, 0.0F),
              ElementsAre("........", ".####...", ".####...", ".####...", ".####...", "........",
                          "........", "........"));
}

TEST(MaskPainter, TellsRowsFromColumns) {
  Planes planes(1, 4);
  planes.At(0, 0, 3) = 1.0F;
  EXPECT_THAT(PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 8), 0.5F),
              ElementsAre("......##", "......##", "........", "........", "........", "........",
                          "........", "........"));
}

TEST(MaskPainter, AddsAllPrototypesWithTheirCoefficients) {
  Planes planes(3, 4);
  planes.Fill(0, 1.0F);
  planes.Fill(1, 10.0F);
  planes.Fill(2, 100.0F);
  const cv::Rect whole(0, 0, 8, 8);
  // 2 * 1 - 3 * 10 + 0.5 * 100 = 22
  EXPECT_EQ(PaintEight(planes, {2.0F, -3.0F, 0.5F}, whole, 22.0F),
            std::vector<std::string>(kSide, "........"));
  EXPECT_EQ(PaintEight(planes, {2.0F, -3.0F, 0.5F}, whole, 21.9375F),
            std::vector<std::string>(kSide, "########"));
}

// Prototypes are added four at a time, and one by one what remains; the bits are those of one by
// one: the 0.25 is lost beside 2^24, the numbers after it are not.
TEST(MaskPainter, AddsPrototypesInTheirOrder) {
  const std::vector<float> values{0.25F, 16777216.0F, -16777216.0F, 0.5F, 2.0F,
                                  4.0F,  8.0F,        16.0F,        32.0F};
  float sum = 0.0F;
  for (int count = 1; count <= static_cast<int>(values.size()); ++count) {
    Planes planes(count, 4);
    for (int k = 0; k < count; ++k) planes.Fill(k, values[static_cast<std::size_t>(k)]);
    const std::vector<float> coefficients(values.size(), 1.0F);
    sum += values[static_cast<std::size_t>(count - 1)];
    const cv::Rect whole(0, 0, 8, 8);
    EXPECT_EQ(PaintEight(planes, coefficients, whole, sum),
              std::vector<std::string>(kSide, "........"))
        << count;
    EXPECT_EQ(PaintEight(planes, coefficients, whole, std::nextafter(sum, -100.0F)),
              std::vector<std::string>(kSide, "########"))
        << count;
  }
  EXPECT_EQ(sum, 62.5F);
}

// Pixels are drawn sixteen at a time, and one by one what remains.
TEST(MaskPainter, ARowOfEveryWidthHasThePixelsOfOnePixelBoxes) {
  const PatchGeometry geometry({64, 64}, 64, 16);
  Planes planes(1, 16);
  for (int i = 0; i < 256; ++i) planes.At(0, i / 16, i % 16) = static_cast<float>(i * 7 % 13);
  const float coefficient = 1.0F;
  MaskPainter painter;
  const auto paint = [&](const cv::Rect& box) {
    return painter.Paint(planes.View(), &coefficient, geometry, box, 6.0F).clone();
  };
  cv::Mat expected(64, 64, CV_8UC1, cv::Scalar(0));
  int drawn = 0;
  for (int width = 1; width <= 61; ++width) {
    const cv::Rect last(3 + width - 1, 30, 1, 1);
    paint(last)(last).copyTo(expected(last));
    drawn += expected.at<std::uint8_t>(last.tl()) == 255 ? 1 : 0;
    ASSERT_EQ(cv::norm(paint(cv::Rect(3, 30, width, 1)), expected, cv::NORM_INF), 0.0) << width;
  }
  EXPECT_GT(drawn, 10);
  EXPECT_LT(drawn, 51);
}

TEST(MaskPainter, ANarrowerBoxShowsNothingOfAWiderOneBefore) {
  const PatchGeometry geometry({64, 64}, 64, 16);
  Planes planes(1, 16);
  planes.Fill(0, 1.0F);
  const float coefficient = 1.0F;
  MaskPainter painter;
  for (int width = 61; width >= 1; --width) {
    const cv::Mat mask =
        painter.Paint(planes.View(), &coefficient, geometry, cv::Rect(2, 30, width, 2), 0.0F);
    ASSERT_EQ(cv::countNonZero(mask), 2 * width);
  }
}

TEST(MaskPainter, ABoxOfOneRowIsPaintedOverTheWholeWidth) {
  const PatchGeometry frame({1920, 1080}, 64, 16);
  Planes planes(1, 16);
  planes.Fill(0, 1.0F);
  const float coefficient = 1.0F;
  MaskPainter painter;
  const cv::Mat mask =
      painter.Paint(planes.View(), &coefficient, frame, cv::Rect(0, 540, 1920, 1), 0.0F);
  EXPECT_EQ(cv::countNonZero(mask.row(540)), 1920);
  EXPECT_EQ(cv::countNonZero(mask), 1920);
}

TEST(MaskPainter, ReadsNothingBeforeOrBehindThePrototypes) {
  constexpr std::size_t kBytes = 2 * 16 * sizeof(float);  // two planes of 4 x 4 cells
  const std::array<float, 2> coefficients{1.0F, 1.0F};
  for (const auto flush : {FencedMemory::Flush::kStart, FencedMemory::Flush::kEnd}) {
    const FencedMemory memory(kBytes, flush);
    std::fill_n(reinterpret_cast<float*>(memory.data()), 32, 1.0F);
    const MaskPainter::Prototypes prototypes{reinterpret_cast<const float*>(memory.data()), 2, 4};
    MaskPainter painter;
    for (const cv::Rect& box : {cv::Rect(0, 0, 8, 8), cv::Rect(4, 4, 4, 4)}) {
      const cv::Mat mask =
          painter.Paint(prototypes, coefficients.data(), EightByEight(), box, 0.0F);
      EXPECT_EQ(cv::countNonZero(mask), box.area());
    }
  }
}

TEST(MaskPainter, PaintsInsideTheBoxOnly) {
  Planes planes(1, 4);
  planes.Fill(0, 1.0F);
  EXPECT_THAT(PaintEight(planes, {1.0F}, cv::Rect(2, 3, 4, 2), 0.0F),
              ElementsAre("........", "........", "........", "..####..", "..####..", "........",
                          "........", "........"));
}

TEST(MaskPainter, ABoxDoesNotChangeWhatIsInsideIt) {
  Planes planes(2, 4);
  for (int i = 0; i < 32; ++i) planes.At(i / 16, i / 4 % 4, i % 4) = static_cast<float>(i * 7 % 13);
  const std::vector<float> coefficients{1.0F, -1.0F};
  const std::vector<std::string> all =
      PaintEight(planes, coefficients, cv::Rect(0, 0, 8, 8), 0.75F);
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      for (int height = 1; height <= 8 - y; ++height) {
        for (int width = 1; width <= 8 - x; ++width) {
          std::vector<std::string> expected(kSide, "........");
          for (int row = y; row < y + height; ++row) {
            const auto r = static_cast<std::size_t>(row);
            const auto c = static_cast<std::size_t>(x);
            expected[r].replace(c, static_cast<std::size_t>(width), all[r], c,
                                static_cast<std::size_t>(width));
          }
          ASSERT_EQ(PaintEight(planes, coefficients, cv::Rect(x, y, width, height), 0.75F),
                    expected)
              << width << " x " << height << " at " << x << ", " << y;
        }
      }
    }
  }
}

TEST(MaskPainter, PaintsOnePixelBoxesInEveryCorner) {
  Planes planes(1, 4);
  planes.Fill(0, 1.0F);
  for (const cv::Point corner :
       {cv::Point(0, 0), cv::Point(7, 0), cv::Point(0, 7), cv::Point(7, 7)}) {
    MaskPainter painter;
    const float coefficient = 1.0F;
    const cv::Mat mask = painter.Paint(planes.View(), &coefficient, EightByEight(),
                                       cv::Rect(corner, cv::Size(1, 1)), 0.0F);
    EXPECT_EQ(mask.at<std::uint8_t>(corner), 255);
    EXPECT_EQ(cv::countNonZero(mask), 1);
  }
}

TEST(MaskPainter, SkipsRowsOfCellsUnderASmallPatch) {
  // Five rows over sixteen cells lie at 1.1, 4.3, 7.5, 10.7 and 13.9.
  const PatchGeometry geometry({5, 5}, 64, 16);
  Planes planes(1, 16);
  for (int row = 0; row < 16; ++row) {
    for (int column = 0; column < 16; ++column) planes.At(0, row, column) = static_cast<float>(row);
  }
  const float coefficient = 1.0F;
  const std::array<std::pair<float, int>, 8> first_rows{
      {{1.0F, 0}, {1.2F, 1}, {4.2F, 1}, {4.4F, 2}, {7.4F, 2}, {7.6F, 3}, {13.8F, 4}, {14.0F, 5}}};
  for (const auto& [threshold, first] : first_rows) {
    MaskPainter painter;
    const cv::Mat mask =
        painter.Paint(planes.View(), &coefficient, geometry, Whole(geometry), threshold);
    for (int row = 0; row < 5; ++row) {
      EXPECT_EQ(cv::countNonZero(mask.row(row)), row < first ? 0 : 5) << threshold;
    }
  }
}

TEST(MaskPainter, ReadsTheCellsOfTheScaledPatchNotOfItsBorder) {
  // 8 x 4 pixels in a square of 8: rows 2 to 5, which are rows 1 and 2 of the cells.
  const PatchGeometry geometry({8, 4}, 8, 4);
  Planes planes(1, 4);
  for (int column = 0; column < 4; ++column) {
    planes.At(0, 0, column) = -100.0F;
    planes.At(0, 1, column) = 1.0F;
    planes.At(0, 2, column) = 1.0F;
    planes.At(0, 3, column) = -100.0F;
  }
  const float coefficient = 1.0F;
  MaskPainter painter;
  // The outer rows lie at 0.75 and 2.25 cells and feel the border, the inner at 1.25 and 1.75.
  EXPECT_THAT(Rows(painter.Paint(planes.View(), &coefficient, geometry, Whole(geometry), 0.5F)),
              ElementsAre("........", "########", "########", "........"));
}

TEST(MaskPainter, OneCellForAllIsEnough) {
  const PatchGeometry geometry({8, 8}, 8, 1);
  Planes planes(1, 1);
  planes.At(0, 0, 0) = 1.0F;
  const float coefficient = 1.0F;
  MaskPainter painter;
  EXPECT_EQ(Rows(painter.Paint(planes.View(), &coefficient, geometry, Whole(geometry), 0.5F)),
            std::vector<std::string>(kSide, "########"));
}

// Everything is mask, but for the pixels that feel cell (1, 1).
const std::vector<std::string> kWithoutOneCell{"########", "#....###", "#....###", "#....###",
                                               "#....###", "########", "########", "########"};

TEST(MaskPainter, ACellThatIsNotFiniteIsBackground) {
  for (const float bad : {kNan, -kNan, kInfinity, -kInfinity}) {
    for (const int k : {0, 1}) {
      Planes planes(2, 4);
      planes.Fill(0, 1.0F);
      planes.Fill(1, 1.0F);
      planes.At(k, 1, 1) = bad;
      EXPECT_EQ(PaintEight(planes, {1.0F, 1.0F}, cv::Rect(0, 0, 8, 8), 0.0F), kWithoutOneCell)
          << bad;
    }
  }
}

// In the last cell of a box of one row, and of one column.
TEST(MaskPainter, ACellThatIsNotFiniteIsBackgroundAtTheEndOfANarrowBoxToo) {
  for (const float bad : {kNan, kInfinity}) {
    Planes planes(1, 4);
    planes.Fill(0, 1.0F);
    planes.At(0, 0, 3) = bad;
    planes.At(0, 3, 0) = bad;
    const cv::Rect row(0, 0, 8, 1);
    const cv::Rect column(0, 0, 1, 8);
    EXPECT_EQ(PaintEight(planes, {1.0F}, row, 0.0F).front(), "#####...");
    EXPECT_EQ(PaintEight(planes, {1.0F}, column, 0.0F)[4], "#.......");
    for (const std::size_t y : {5U, 6U, 7U}) {
      EXPECT_EQ(PaintEight(planes, {1.0F}, column, 0.0F)[y], "........") << y;
    }
  }
}

// The first row of eight, the cells at `cell` and beside it huge and of opposite signs.
std::string RowWithHugeLogits(int cell) {
  Planes planes(1, 4);
  planes.Fill(0, 1.0F);
  planes.At(0, 0, cell) = kMost;
  planes.At(0, 0, cell + 1) = -kMost;
  return PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 1), 0.0F).front();
}

TEST(MaskPainter, HugeLogitsAtTheBeginningOfABoxOfOneRowDoNotOverflow) {
  // Pixel 1 is a quarter of the way from the one to the other, pixel 2 three quarters; pixel 4 is
  // three quarters of the way to the next cell.
  EXPECT_EQ(RowWithHugeLogits(0), "##...###");
}

TEST(MaskPainter, HugeLogitsAtTheEndOfABoxOfOneRowDoNotOverflow) {
  // Pixel 5 is a quarter of the way from the one to the other, pixel 6 three quarters.
  EXPECT_EQ(RowWithHugeLogits(2), "######..");
}

TEST(MaskPainter, ACellThatIsNotFiniteIsBackgroundWhateverTheThreshold) {
  // A mask threshold of 0 is a logit of minus infinity: every finite logit is above it.
  for (const float threshold : {-1.0F, -104.0F, -kInfinity}) {
    Planes planes(1, 4);
    planes.Fill(0, 1.0F);
    planes.At(0, 1, 1) = kNan;
    EXPECT_EQ(PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 8), threshold), kWithoutOneCell)
        << threshold;
  }
}

TEST(MaskPainter, ASumThatOverflowsIsBackground) {
  Planes planes(2, 4);
  planes.Fill(0, 1.0F);
  planes.Fill(1, 1.0F);
  planes.At(0, 1, 1) = kMost;
  planes.At(1, 1, 1) = kMost;
  EXPECT_EQ(PaintEight(planes, {1.0F, 1.0F}, cv::Rect(0, 0, 8, 8), 0.0F), kWithoutOneCell);
}

TEST(MaskPainter, AHugeFiniteLogitIsMask) {
  for (const float huge : {1e10F, 1e30F, 8e37F, 1e38F, kMost}) {
    Planes planes(1, 4);
    planes.Fill(0, huge);
    EXPECT_EQ(PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 8), 0.0F),
              std::vector<std::string>(kSide, "########"))
        << huge;
  }
}

TEST(MaskPainter, HugeLogitsOfBothSignsSideBySideDoNotOverflow) {
  for (const float huge : {8e37F, 1e38F, kMost}) {
    Planes planes(1, 4);
    for (int row = 0; row < 4; ++row) {
      for (int column = 0; column < 4; ++column) {
        planes.At(0, row, column) = column < 2 ? -huge : huge;
      }
    }
    // Pixel 3 lies a quarter of the way from the negative to the positive cells.
    EXPECT_EQ(PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 8), 0.0F),
              std::vector<std::string>(kSide, "....####"))
        << huge;
  }
}

TEST(MaskPainter, DenormalLogitsAreCompared) {
  Planes planes(1, 4);
  planes.Fill(0, std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 8), 0.0F),
            std::vector<std::string>(kSide, "########"));
}

// A weighted sum of two equal logits would round to a neighbour here and there.
TEST(MaskPainter, BetweenEqualLogitsNoBitChanges) {
  const PatchGeometry geometry({33, 29}, 64, 16);
  Planes planes(1, 16);
  const float coefficient = 1.0F;
  MaskPainter painter;
  for (float logit = 0.1F; logit < 10.0F; logit *= 1.07F) {
    planes.Fill(0, logit);
    const auto pixels_above = [&](float threshold) {
      return cv::countNonZero(
          painter.Paint(planes.View(), &coefficient, geometry, Whole(geometry), threshold));
    };
    EXPECT_EQ(pixels_above(std::nextafter(logit, 0.0F)), 33 * 29) << logit;
    EXPECT_EQ(pixels_above(logit), 0) << logit;
  }
}

TEST(MaskPainter, ThresholdInfinityPaintsNothing) {
  Planes planes(1, 4);
  planes.Fill(0, 1e30F);
  EXPECT_EQ(PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 8), kInfinity),
            std::vector<std::string>(kSide, "........"));
}

TEST(MaskPainter, AUsedPainterPaintsLikeANewOne) {
  Planes ramp(1, 4);
  for (int i = 0; i < 16; ++i) ramp.At(0, i / 4, i % 4) = static_cast<float>(i % 5);
  Planes bad(1, 4);
  bad.Fill(0, kNan);
  Planes large(2, 16);
  large.Fill(0, 1.0F);
  const std::vector<float> coefficients{1.0F, 1.0F};
  const PatchGeometry other({5, 9}, 64, 16);
  const std::vector<std::string> expected =
      PaintEight(ramp, coefficients, cv::Rect(1, 1, 6, 6), 1.5F);
  MaskPainter painter;
  for (int round = 0; round < 2; ++round) {
    painter.Paint(bad.View(), coefficients.data(), EightByEight(), cv::Rect(0, 0, 8, 8), 0.0F);
    painter.Paint(large.View(), coefficients.data(), other, Whole(other), 0.0F);
    EXPECT_EQ(Rows(painter.Paint(ramp.View(), coefficients.data(), EightByEight(),
                                 cv::Rect(1, 1, 6, 6), 1.5F)),
              expected);
  }
}

// Paints the box with a plane of ones.
cv::Mat Fill(MaskPainter& painter, const cv::Rect& box,
             const PatchGeometry& geometry = EightByEight()) {
  Planes planes(1, 4);
  planes.Fill(0, 1.0F);
  const float coefficient = 1.0F;
  return painter.Paint(planes.View(), &coefficient, geometry, box, 0.0F);
}

std::vector<std::string> Filled(const cv::Rect& box) {
  std::vector<std::string> rows(kSide, "........");
  for (int y = box.y; y < box.y + box.height; ++y) {
    for (int x = box.x; x < box.x + box.width; ++x) {
      rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = '#';
    }
  }
  return rows;
}

TEST(MaskMemory, MasksOfOneFrameAreApart) {
  MaskPainter painter;
  painter.StartFrame();
  const cv::Mat first = Fill(painter, {0, 0, 3, 3});
  const cv::Mat second = Fill(painter, {4, 4, 2, 2});
  EXPECT_EQ(Rows(first), Filled({0, 0, 3, 3}));
  EXPECT_EQ(Rows(second), Filled({4, 4, 2, 2}));
}

TEST(MaskMemory, AMaskThatSomebodyHoldsIsNotTouched) {
  MaskPainter painter;
  std::vector<cv::Mat> held;
  for (int frame = 0; frame < 5; ++frame) {
    painter.StartFrame();
    held.push_back(Fill(painter, {frame, 0, 2, 8}));
  }
  for (int frame = 0; frame < 5; ++frame) {
    EXPECT_EQ(Rows(held[static_cast<std::size_t>(frame)]), Filled({frame, 0, 2, 8})) << frame;
  }
}

TEST(MaskMemory, AMaskOfWhichSomebodyHoldsAPartIsNotTouched) {
  MaskPainter painter;
  painter.StartFrame();
  const cv::Mat part = Fill(painter, {0, 0, 4, 4})(cv::Rect(2, 2, 4, 4));
  painter.StartFrame();
  EXPECT_EQ(Rows(Fill(painter, {0, 0, 8, 8})), Filled({0, 0, 8, 8}));
  EXPECT_EQ(cv::countNonZero(part), 4);
}

TEST(MaskMemory, AMaskThatNobodyHoldsIsUsedAgainAndBlankOutsideItsNewBox) {
  for (const cv::Rect& drawn : {cv::Rect(1, 2, 6, 5), cv::Rect(5, 0, 2, 4)}) {
    MaskPainter painter;
    painter.StartFrame();
    const std::uint8_t* memory = Fill(painter, drawn).data;
    painter.StartFrame();
    const cv::Mat next = cv::Mat::ones(8, 8, CV_8UC1);  // takes the memory if it was given back
    const cv::Mat again = Fill(painter, {5, 5, 3, 1});
    EXPECT_EQ(again.data, memory);
    EXPECT_EQ(Rows(again), Filled({5, 5, 3, 1}));
  }
}

TEST(MaskMemory, AMaskReleasedLaterIsBlankInItsNextUseToo) {
  MaskPainter painter;
  painter.StartFrame();
  cv::Mat first = Fill(painter, {0, 0, 8, 8});
  painter.StartFrame();
  cv::Mat second = Fill(painter, {0, 0, 1, 1});
  EXPECT_EQ(Rows(second), Filled({0, 0, 1, 1}));
  first.release();
  second.release();
  painter.StartFrame();
  EXPECT_EQ(Rows(Fill(painter, {7, 7, 1, 1})), Filled({7, 7, 1, 1}));
}

TEST(MaskMemory, FramesOfDifferentCountsStayApart) {
  MaskPainter painter;
  for (const int count : {3, 1, 0, 4, 2}) {
    painter.StartFrame();
    std::vector<cv::Mat> masks;
    for (int i = 0; i < count; ++i) masks.push_back(Fill(painter, {2 * i, i, 2, 3}));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(Rows(masks[static_cast<std::size_t>(i)]), Filled({2 * i, i, 2, 3}));
    }
  }
}

TEST(MaskMemory, MasksThatAFrameDidNotNeedAreGivenBack) {
  MaskPainter painter;
  painter.StartFrame();
  Fill(painter, cv::Rect(0, 0, 2, 2));
  const cv::Mat second = Fill(painter, cv::Rect(4, 4, 2, 2));
  painter.StartFrame();
  EXPECT_FALSE(IsSoleOwner(second));
  Fill(painter, cv::Rect(0, 0, 2, 2));
  painter.StartFrame();
  EXPECT_TRUE(IsSoleOwner(second));
}

TEST(MaskMemory, AnotherSizeGetsItsOwnMask) {
  MaskPainter painter;
  painter.StartFrame();
  Fill(painter, {0, 0, 8, 8});
  painter.StartFrame();
  const PatchGeometry wide({16, 8}, 8, 4);
  const cv::Mat mask = Fill(painter, {1, 1, 2, 2}, wide);
  EXPECT_EQ(mask.size(), cv::Size(16, 8));
  EXPECT_EQ(cv::countNonZero(mask), 4);
}

}  // namespace
}  // namespace nuvik::model
