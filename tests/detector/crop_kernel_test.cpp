// Nearest-neighbour scaling, by hand and against cv::resize.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "dirty_seg_detector/crop_kernels.h"
#include "support/fenced_memory.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

using test::FencedMemory;

using testing::ElementsAre;

std::vector<int> Indices(int source, int target) {
  std::vector<int> indices(3, 99);  // what an earlier call left
  NearestIndices(source, target, indices);
  return indices;
}

TEST(NearestIndices, EqualLengthsAreTheIdentity) {
  EXPECT_THAT(Indices(4, 4), ElementsAre(0, 1, 2, 3));
}

TEST(NearestIndices, DoublingTakesEveryPixelTwice) {
  EXPECT_THAT(Indices(3, 6), ElementsAre(0, 0, 1, 1, 2, 2));
}

TEST(NearestIndices, ShrinkingRoundsDown) {
  // 0, 5/3, 10/3
  EXPECT_THAT(Indices(5, 3), ElementsAre(0, 1, 3));
}

TEST(NearestIndices, OnePixelServesAll) { EXPECT_THAT(Indices(1, 3), ElementsAre(0, 0, 0)); }

TEST(NearestIndices, AreThoseOfCvResizeForEveryPatchSize) {
  for (const int target : {1, 32, 64, 224, 320, 639, 640, 1280}) {
    for (int source = 1; source <= 1920; ++source) {
      cv::Mat ramp(1, source, CV_16UC1);
      for (int i = 0; i < source; ++i) ramp.at<std::uint16_t>(0, i) = static_cast<std::uint16_t>(i);
      cv::Mat resized;
      cv::resize(ramp, resized, cv::Size(target, 1), 0, 0, cv::INTER_NEAREST);
      const std::vector<int> expected(resized.begin<std::uint16_t>(), resized.end<std::uint16_t>());
      ASSERT_EQ(Indices(source, target), expected) << source << " to " << target;
    }
  }
}

TEST(GatherPixels, TakesEachRowAndColumnAsListed) {
  // Two rows of three pixels, one byte of padding; pixel (y, x) holds 10 y + x, +100, +200.
  const std::vector<std::uint8_t> source{0,  100, 200, 1,  101, 201, 2,  102, 202, 255,
                                         10, 110, 210, 11, 111, 211, 12, 112, 212, 255};
  std::vector<std::uint8_t> target(3 * 7, 77);
  GatherPixels(source.data(), 10, {0, 2}, {0, 1, 1}, target.data(), 7);
  EXPECT_THAT(target, ElementsAre(0, 100, 200, 2, 102, 202, 77,    //
                                  10, 110, 210, 12, 112, 212, 77,  //
                                  10, 110, 210, 12, 112, 212, 77));
}

// Scales a random picture that ends, like the target, right before a page that may not be touched.
void ExpectLikeCvResize(const cv::Size& from, const cv::Size& to, cv::RNG& random) {
  const auto bytes = [](const cv::Size& size) { return static_cast<std::size_t>(size.area()) * 3; };
  const FencedMemory source(bytes(from), FencedMemory::Flush::kEnd);
  const FencedMemory target(bytes(to), FencedMemory::Flush::kEnd);
  cv::Mat picture(from, CV_8UC3, source.data());
  random.fill(picture, cv::RNG::UNIFORM, 0, 256);
  cv::Mat expected;
  cv::resize(picture, expected, to, 0, 0, cv::INTER_NEAREST);

  std::vector<int> columns;
  std::vector<int> rows;
  NearestIndices(from.width, to.width, columns);
  NearestIndices(from.height, to.height, rows);
  GatherPixels(source.data(), picture.step, columns, rows, target.data(), bytes({to.width, 1}));
  ASSERT_EQ(std::memcmp(target.data(), expected.data, bytes(to)), 0) << from << " to " << to;
}

TEST(GatherPixels, EqualsCvResizeAndStaysInsideBothPictures) {
  cv::RNG random(3);
  for (int i = 0; i < 2000; ++i) {
    const cv::Size from(random.uniform(1, 70), random.uniform(1, 40));
    const cv::Size to(random.uniform(1, 70), random.uniform(1, 40));
    ExpectLikeCvResize(from, to, random);
  }
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
