// Rows of mask logits, against the plain loops, to the bit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <opencv2/core.hpp>
#include <vector>

#include "decode/logit_kernels.h"
#include "support/fenced_memory.h"

namespace nuvik::model {
namespace {

using geometry::PatchGeometry;
using test::FencedMemory;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

// Floats right before memory that may not be touched.
class Fenced {
 public:
  explicit Fenced(std::size_t count)
      : memory_(count * sizeof(float), FencedMemory::Flush::kEnd), count_(count) {}
  Fenced(std::size_t count, cv::RNG& random) : Fenced(count) {
    for (std::size_t i = 0; i < count; ++i) data()[i] = random.uniform(-2.0F, 2.0F);
  }
  float* data() const { return reinterpret_cast<float*>(memory_.data()); }
  std::vector<float> Numbers() const { return {data(), data() + count_}; }

 private:
  FencedMemory memory_;
  std::size_t count_;
};

TEST(AddPlanes, AddsOnePlaneAfterTheOtherWhateverTheirNumberAndWidth) {
  cv::RNG random(11);
  for (int planes = 0; planes <= 9; ++planes) {
    for (int count = 1; count <= 40; ++count) {
      const auto width = static_cast<std::size_t>(count);
      const std::size_t step = width + 3;
      const Fenced values(planes == 0 ? 1 : step * static_cast<std::size_t>(planes) - 3, random);
      const Fenced coefficients(static_cast<std::size_t>(planes) + 1, random);
      const Fenced sums(width, random);
      std::vector<float> expected = sums.Numbers();
      for (std::size_t k = 0; k < static_cast<std::size_t>(planes); ++k) {
        for (std::size_t i = 0; i < width; ++i) {
          expected[i] += coefficients.data()[k] * values.data()[k * step + i];
        }
      }
      AddPlanes(values.data(), step, coefficients.data(), planes, count, sums.data());
      ASSERT_EQ(sums.Numbers(), expected) << planes << " planes of " << count;
    }
  }
}

TEST(LimitLogits, LeavesUsualLogitsAsTheyAre) {
  cv::RNG random(12);
  for (int count = 1; count <= 40; ++count) {
    const Fenced logits(static_cast<std::size_t>(count), random);
    const std::vector<float> expected = logits.Numbers();
    ASSERT_TRUE(LimitLogits(count, logits.data()));
    ASSERT_EQ(logits.Numbers(), expected);
  }
}

TEST(LimitLogits, CutsHugeOnesAndTellsThoseThatAreNotFinite) {
  std::vector<float> logits{kMax, -kMax, 1.0F};
  EXPECT_TRUE(LimitLogits(3, logits.data()));
  EXPECT_EQ(logits, (std::vector<float>{kMax / 4, -kMax / 4, 1.0F}));
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (std::size_t i = 0; i < 20; ++i) {
      std::vector<float> numbers(20, 2.0F);
      numbers[i] = bad;
      ASSERT_FALSE(LimitLogits(20, numbers.data()));
      ASSERT_TRUE(std::isnan(numbers[i]));
      numbers[i] = 2.0F;
      ASSERT_EQ(numbers, std::vector<float>(20, 2.0F));
    }
  }
}

TEST(StretchLogits, BlendsTheTwoCellsOfEachSample) {
  const std::vector<float> logits{10.0F, 20.0F, 40.0F};  // of cells 5 to 7
  const std::vector<PatchGeometry::Sample> samples{
      {5, 5, 0.0F}, {5, 6, 0.25F}, {6, 7, 0.5F}, {7, 7, 0.0F}};
  std::vector<float> stretched(4);
  StretchLogits(logits.data(), 5, samples.data(), 4, stretched.data());
  EXPECT_EQ(stretched, (std::vector<float>{10.0F, 12.5F, 30.0F, 40.0F}));
}

TEST(PaintRow, EqualsThePlainLoopAtEveryWidthAndStaysInside) {
  cv::RNG random(13);
  for (int count = 1; count <= 100; ++count) {
    const auto width = static_cast<std::size_t>(count);
    const Fenced upper(width, random);
    const Fenced lower(width, random);
    const FencedMemory mask(width, FencedMemory::Flush::kEnd);
    for (const float weight : {0.0F, 0.125F, 0.7F}) {
      std::vector<std::uint8_t> expected(width);
      for (std::size_t i = 0; i < width; ++i) {
        const float above = upper.data()[i];
        expected[i] = above + (lower.data()[i] - above) * weight > 0.5F ? 255 : 0;
      }
      PaintRow(upper.data(), lower.data(), weight, 0.5F, count, mask.data());
      ASSERT_EQ(std::memcmp(mask.data(), expected.data(), width), 0) << count;
    }
  }
}

TEST(PaintRow, NeitherNotANumberNorTheThresholdItselfIsMask) {
  for (const float logit : {kNan, -kNan, 0.5F}) {
    const std::vector<float> logits(33, logit);
    std::vector<std::uint8_t> mask(33, 7);
    PaintRow(logits.data(), logits.data(), 0.5F, 0.5F, 33, mask.data());
    EXPECT_EQ(mask, std::vector<std::uint8_t>(33, 0)) << logit;
  }
}

}  // namespace
}  // namespace nuvik::model
