// Bilinear scaling, by hand and against cv::resize.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <tuple>
#include <vector>

#include "dirty_seg_detector/linear_kernels.h"
#include "support/fenced_memory.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

using test::FencedMemory;

using Axis = void (*)(int, int, std::vector<LinearTap>&);
using Tap = std::tuple<int, int, int, int>;

std::vector<Tap> Taps(Axis axis, int source, int target) {
  std::vector<LinearTap> taps(3, {9, 9, 9, 9});  // what an earlier call left
  axis(source, target, taps);
  std::vector<Tap> all;
  for (const LinearTap& tap : taps) {
    all.emplace_back(tap.first, tap.second, tap.first_weight, tap.second_weight);
  }
  return all;
}

TEST(LinearTaps, EqualLengthsTakeEachPixelWhole) {
  EXPECT_EQ(Taps(LinearColumns, 2, 2), (std::vector<Tap>{{0, 1, 2048, 0}, {1, 1, 2048, 0}}));
  EXPECT_EQ(Taps(LinearRows, 2, 2), (std::vector<Tap>{{0, 1, 2048, 0}, {1, 1, 2048, 0}}));
}

TEST(LinearTaps, DoublingLiesAQuarterBesideEachPixel) {
  // Centres -0.25, 0.25, 0.75, 1.25: outside, a column is the pixel at the edge, whole; a row adds
  // its two parts.
  EXPECT_EQ(
      Taps(LinearColumns, 2, 4),
      (std::vector<Tap>{{0, 0, 2048, 0}, {0, 1, 1536, 512}, {0, 1, 512, 1536}, {1, 1, 2048, 0}}));
  EXPECT_EQ(Taps(LinearRows, 2, 4),
            (std::vector<Tap>{
                {0, 0, 512, 1536}, {0, 1, 1536, 512}, {0, 1, 512, 1536}, {1, 1, 1536, 512}}));
}

TEST(LinearTaps, ShrinkingSkipsPixels) {
  // Centres 1 and 4 of six.
  EXPECT_EQ(Taps(LinearColumns, 6, 2), (std::vector<Tap>{{1, 2, 2048, 0}, {4, 5, 2048, 0}}));
  // Centres 1.5 and 5.5 of eight.
  EXPECT_EQ(Taps(LinearRows, 8, 2), (std::vector<Tap>{{1, 2, 1024, 1024}, {5, 6, 1024, 1024}}));
}

TEST(BlendPixels, BlendsTheTwoColumnsThenTheTwoRows) {
  // Two rows of two pixels, one byte of padding; halves of both: a mean of four, halves up.
  const std::vector<std::uint8_t> source{0, 100, 200, 1, 101, 201, 255,  //
                                         2, 102, 202, 3, 103, 207, 255};
  std::vector<std::uint8_t> target(4, 77);
  std::vector<int> scratch(6);
  BlendPixels(source.data(), 7, {{0, 1, 1024, 1024}}, {{0, 1, 1024, 1024}}, scratch.data(),
              target.data(), 3);
  EXPECT_EQ(target, (std::vector<std::uint8_t>{2, 102, 203, 77}));
}

// Scales a picture, which like the target ends right before a page that may not be touched.
void ExpectLikeCvResize(const cv::Mat& picture, const cv::Size& to) {
  const auto bytes = [](const cv::Size& size) { return static_cast<std::size_t>(size.area()) * 3; };
  const FencedMemory source(bytes(picture.size()), FencedMemory::Flush::kEnd);
  const FencedMemory target(bytes(to), FencedMemory::Flush::kEnd);
  picture.copyTo(cv::Mat(picture.size(), CV_8UC3, source.data()));
  cv::Mat expected;
  cv::resize(picture, expected, to, 0, 0, cv::INTER_LINEAR);

  std::vector<LinearTap> columns;
  std::vector<LinearTap> rows;
  LinearColumns(picture.cols, to.width, columns);
  LinearRows(picture.rows, to.height, rows);
  std::vector<int> scratch(6 * columns.size());
  BlendPixels(source.data(), bytes({picture.cols, 1}), columns, rows, scratch.data(), target.data(),
              bytes({to.width, 1}));
  ASSERT_EQ(std::memcmp(target.data(), expected.data, bytes(to)), 0)
      << picture.size() << " to " << to;
}

cv::Mat Noise(const cv::Size& size, cv::RNG& random) {
  cv::Mat picture(size, CV_8UC3);
  random.fill(picture, cv::RNG::UNIFORM, 0, 256);
  return picture;
}

TEST(BlendPixels, EqualsCvResizeForEverySmallWidthAndHeight) {
  cv::RNG random(5);
  for (int source = 1; source <= 48; ++source) {
    for (int target = 1; target <= 48; ++target) {
      ExpectLikeCvResize(Noise({source, 3}, random), {target, 5});
      ExpectLikeCvResize(Noise({3, source}, random), {5, target});
    }
  }
}

TEST(BlendPixels, EqualsCvResizeAndStaysInsideBothPictures) {
  cv::RNG random(3);
  for (int i = 0; i < 2000; ++i) {
    const cv::Size from(random.uniform(1, 70), random.uniform(1, 40));
    const cv::Size to(random.uniform(1, 70), random.uniform(1, 40));
    ExpectLikeCvResize(Noise(from, random), to);
  }
}

// Halves and doubles, which OpenCV scales in ways of their own, and what cameras and networks have.
TEST(BlendPixels, EqualsCvResizeForWholeFrames) {
  cv::RNG random(7);
  for (const cv::Size& from : {cv::Size(1920, 1080), {1280, 720}, {641, 479}}) {
    for (const cv::Size& to : {cv::Size(640, 360),
                               {960, 540},
                               {1280, 720},
                               {1279, 719},
                               {1920, 1080},
                               {2560, 1440},
                               {320, 180},
                               {1282, 958}}) {
      ExpectLikeCvResize(Noise(from, random), to);
    }
  }
}

// Side by side and one above the other, with 67 weights.
TEST(BlendPixels, EqualsCvResizeForEveryPairOfBytes) {
  cv::Mat beside(256 * 256, 2, CV_8UC3);
  for (int i = 0; i < 256 * 256; ++i) {
    beside.at<cv::Vec3b>(i, 0) = cv::Vec3b::all(static_cast<std::uint8_t>(i / 256));
    beside.at<cv::Vec3b>(i, 1) = cv::Vec3b::all(static_cast<std::uint8_t>(i % 256));
  }
  ExpectLikeCvResize(beside, {67, beside.rows});
  ExpectLikeCvResize(beside.t(), {beside.rows, 67});
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
