// MaskPainter: masks that are held, and those that are taken back.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "common/sole_owner.h"
#include "decode/mask_painter.h"
#include "geometry/patch_geometry.h"
#include "support/planes.h"

namespace nuvik::model {
namespace {

using geometry::PatchGeometry;

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

TEST(MaskMemory, AMaskInUseIsNotTouched) {
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

TEST(MaskMemory, AMaskOfWhichAPartIsInUseIsNotTouched) {
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
