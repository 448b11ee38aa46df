// The tensors that the networks get, to the bit.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "digest.h"
#include "dirty_seg_detector/crop_kernels.h"
#include "dirty_seg_detector/dirty_seg_detector.h"
#include "dirty_seg_detector/pixel_kernels.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

using test::Digest;
using test::Hex;
using test::Noise;

cv::Mat NoiseImage(int rows, int cols) {
  Noise noise;
  cv::Mat image(rows, cols, CV_8UC3);
  const std::size_t bytes = 3 * image.total();
  for (std::size_t i = 0; i < bytes; ++i) image.data[i] = noise.Byte();
  return image;
}

using Kernel = void (*)(const std::uint8_t*, std::size_t, int, int, float*);

// Every number of columns up to some vectors and a tail, out of rows that are longer.
Hex DigestOfPlanes(Kernel kernel) {
  const cv::Mat image = NoiseImage(5, 90);
  Digest digest;
  for (int cols = 1; cols <= 83; ++cols) {
    std::vector<float> planes(3 * static_cast<std::size_t>(image.rows * cols));
    kernel(image.data, image.step, image.rows, cols, planes.data());
    digest.Add(planes.data(), planes.size() * sizeof(float));
  }
  return {digest.value()};
}

TEST(SameBits, UnitPlanes) { EXPECT_EQ(DigestOfPlanes(PackUnitPlanes), Hex{0x575aafe41b6a7807U}); }

TEST(SameBits, NormalisedPlanes) {
  EXPECT_EQ(DigestOfPlanes(PackNormalisedPlanes), Hex{0x6b7ffe6827d4e323U});
}

TEST(SameBits, GatheredPixels) {
  const cv::Mat image = NoiseImage(97, 211);
  Digest digest;
  for (const cv::Size& size : {cv::Size(211, 97), {64, 29}, {320, 147}, {640, 294}, {1, 1}}) {
    std::vector<int> columns;
    std::vector<int> rows;
    NearestIndices(image.cols, size.width, columns);
    NearestIndices(image.rows, size.height, rows);
    cv::Mat target(size, CV_8UC3);
    GatherPixels(image.data, image.step, columns, rows, target.data, target.step);
    digest.Add(target.data, 3 * target.total());
  }
  EXPECT_EQ(Hex{digest.value()}, Hex{0x1214df8c9a6c9887U});
}

Hex DigestOf(const AIBuff& buffer) {
  Digest digest;
  digest.Add(buffer.data->data(), buffer.data->size());
  return {digest.value()};
}

AIBuff InputOf(std::size_t images, std::size_t side) {
  AIBuff input;
  input.data->resize(images * 3 * side * side * sizeof(float));
  return input;
}

ImageMap Frame() { return {{"color", std::make_shared<cv::Mat>(NoiseImage(1080, 1920))}}; }

// Enlarged, reduced, kept, tall, clipped at both far edges, and one short of the square.
TEST(SameBits, PatchTensor) {
  DirtySegDetector detector;
  detector.patches_ = {{0, 0, 320, 320},   {100, 50, 150, 90},    {640, 0, 640, 640},
                       {900, 3, 200, 700}, {1500, 800, 640, 640}, {7, 11, 1101, 800}};
  AIBuff input = InputOf(detector.patches_.size(), 320);
  ASSERT_TRUE(detector.PreProcessFromSingleImageCrop(Frame(), input, {320, 320}));
  EXPECT_EQ(DigestOf(input), Hex{0x74d7e3efa06cf1b7U});
}

TEST(SameBits, WholeImageTensor) {
  DirtySegDetector detector;
  AIBuff input = InputOf(1, 320);
  ASSERT_TRUE(detector.PreProcess(Frame(), input, {320, 320}));
  EXPECT_EQ(DigestOf(input), Hex{0x8d8bab1773d2e0ccU});
}

// OpenCV scales this one, with bilinear weights: Debian's builds for both processors do it in the
// same whole numbers. One that calls another library for it may not.
TEST(SameBits, ClassifierTensor) {
  DirtySegDetector detector;
  AIBuff input = InputOf(1, 224);
  ASSERT_TRUE(detector.PreProcessFece(NoiseImage(131, 353), input));
  EXPECT_EQ(DigestOf(input), Hex{0x28a40fda3e0f68feU});
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
