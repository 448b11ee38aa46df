// MaskPainter: which pixels are mask.
#include "decode/mask_painter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "geometry/patch_geometry.h"
#include "support/fenced_memory.h"
#include "support/planes.h"

namespace nuvik::model {
namespace {

using geometry::PatchGeometry;
using test::FencedMemory;
using testing::ElementsAre;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

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

}  // namespace
}  // namespace nuvik::model
