// Uniting masks, against the plain loop.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <opencv2/core.hpp>
#include <vector>

#include "dirty_seg_detector/mask_kernels.h"
#include "support/fenced_memory.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

using test::FencedMemory;

TEST(UniteAndCount, EveryBitOfMaskAndCanvasIsKept) {
  const std::vector<std::uint8_t> mask{0, 255, 1, 0x0f};
  std::vector<std::uint8_t> canvas{7, 0, 2, 0xf0};
  EXPECT_EQ(UniteAndCount(mask.data(), 4, canvas.data(), 4, 1, 4), 3);
  EXPECT_EQ(canvas, (std::vector<std::uint8_t>{7, 255, 3, 0xff}));
}

TEST(UniteAndCount, RowsFollowTheirOwnSteps) {
  const std::vector<std::uint8_t> mask{1, 9, 1, 9};    // one column, step 2
  std::vector<std::uint8_t> canvas{0, 8, 8, 0, 8, 8};  // one column, step 3
  EXPECT_EQ(UniteAndCount(mask.data(), 2, canvas.data(), 3, 2, 1), 2);
  EXPECT_EQ(canvas, (std::vector<std::uint8_t>{1, 8, 8, 1, 8, 8}));
}

TEST(UniteAndCount, WhatStandsBesideTheColumnsIsKept) {
  constexpr std::size_t kStep = 100;
  const cv::Mat mask(90, kStep, CV_8UC1, cv::Scalar(255));
  cv::Mat canvas(90, kStep, CV_8UC1, cv::Scalar(1));
  EXPECT_EQ(UniteAndCount(mask.data, kStep, canvas.data, kStep, 90, 20), 1800);
  EXPECT_EQ(cv::countNonZero(canvas.colRange(0, 20) == 255), 1800);
  EXPECT_EQ(cv::countNonZero(canvas.colRange(20, 100) == 1), 7200);
}

TEST(UniteAndCount, NothingIsDoneForNoRowsOrColumns) {
  EXPECT_EQ(UniteAndCount(nullptr, 0, nullptr, 0, 0, 5), 0);
  std::uint8_t canvas = 3;
  const std::uint8_t mask = 255;
  EXPECT_EQ(UniteAndCount(&mask, 1, &canvas, 1, 1, 0), 0);
  EXPECT_EQ(canvas, 3);
}

// A full frame of full mask: more additions than a byte counts.
TEST(UniteAndCount, CountsAWholeFrame) {
  const cv::Mat mask(1080, 1920, CV_8UC1, cv::Scalar(255));
  cv::Mat canvas = cv::Mat::zeros(1080, 1920, CV_8UC1);
  EXPECT_EQ(UniteAndCount(mask.data, mask.step, canvas.data, canvas.step, 1080, 1920), 2073600);
  EXPECT_EQ(cv::countNonZero(canvas), 2073600);
}

// What looks blank is passed over, four vectors at once: never the one pixel that is not.
TEST(UniteAndCount, OnePixelIsFoundWhereverItIs) {
  for (const std::size_t cols : {15U, 16U, 63U, 64U, 65U, 80U, 128U, 145U}) {
    for (std::size_t x = 0; x < cols; ++x) {
      std::vector<std::uint8_t> mask(cols, 0);
      mask[x] = 2;
      std::vector<std::uint8_t> canvas(cols, 4);
      std::vector<std::uint8_t> expected = canvas;
      expected[x] = 6;
      const int width = static_cast<int>(cols);
      ASSERT_EQ(UniteAndCount(mask.data(), cols, canvas.data(), cols, 1, width), 1);
      ASSERT_EQ(canvas, expected) << "pixel " << x << " of " << cols;
    }
  }
}

TEST(UniteAndCount, EqualsThePlainLoopAtEveryWidthAndStaysInside) {
  cv::RNG random(5);
  for (int cols = 1; cols <= 200; ++cols) {
    const auto bytes = static_cast<std::size_t>(3 * cols);
    const FencedMemory mask(bytes, FencedMemory::Flush::kEnd);
    const FencedMemory canvas(bytes, FencedMemory::Flush::kEnd);
    std::vector<std::uint8_t> expected(bytes);
    int expected_count = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      // Blank stretches longer than four vectors of 16 from any of their starts, between others, so
      // that both ways through the loop are taken.
      const bool is_blank = (i / 97) % 2 == 0 || random.uniform(0, 3) == 0;
      mask.data()[i] = static_cast<std::uint8_t>(is_blank ? 0 : random.uniform(1, 256));
      canvas.data()[i] = static_cast<std::uint8_t>(random.uniform(0, 256));
      expected[i] = static_cast<std::uint8_t>(canvas.data()[i] | mask.data()[i]);
      expected_count += is_blank ? 0 : 1;
    }
    const auto step = static_cast<std::size_t>(cols);
    ASSERT_EQ(UniteAndCount(mask.data(), step, canvas.data(), step, 3, cols), expected_count);
    ASSERT_EQ(std::memcmp(canvas.data(), expected.data(), bytes), 0) << cols << " columns";
  }
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
