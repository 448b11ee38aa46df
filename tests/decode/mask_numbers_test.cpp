// MaskPainter: logits that are not finite, huge and tiny ones.
#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "decode/mask_painter.h"
#include "geometry/patch_geometry.h"
#include "support/planes.h"

namespace nuvik::model {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

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
  planes.At(0, 0, cell) = kMax;
  planes.At(0, 0, cell + 1) = -kMax;
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
  planes.At(0, 1, 1) = kMax;
  planes.At(1, 1, 1) = kMax;
  EXPECT_EQ(PaintEight(planes, {1.0F, 1.0F}, cv::Rect(0, 0, 8, 8), 0.0F), kWithoutOneCell);
}

TEST(MaskPainter, AHugeFiniteLogitIsMask) {
  for (const float huge : {1e10F, 1e30F, 8e37F, 1e38F, kMax}) {
    Planes planes(1, 4);
    planes.Fill(0, huge);
    EXPECT_EQ(PaintEight(planes, {1.0F}, cv::Rect(0, 0, 8, 8), 0.0F),
              std::vector<std::string>(kSide, "########"))
        << huge;
  }
}

TEST(MaskPainter, HugeLogitsOfBothSignsSideBySideDoNotOverflow) {
  for (const float huge : {8e37F, 1e38F, kMax}) {
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

}  // namespace
}  // namespace nuvik::model
