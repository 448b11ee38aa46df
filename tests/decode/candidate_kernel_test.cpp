// Comparing scores with a threshold, against the plain loop.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <opencv2/core.hpp>
#include <vector>

#include "decode/candidate_kernels.h"
#include "support/fenced_memory.h"

namespace nuvik::model {
namespace {

using test::FencedMemory;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kLimit = 0.25F;

// `numbers` followed by memory that may not be read.
class Fenced {
 public:
  explicit Fenced(const std::vector<float>& numbers)
      : memory_(numbers.size() * sizeof(float), FencedMemory::Flush::kEnd) {
    std::memcpy(memory_.data(), numbers.data(), numbers.size() * sizeof(float));
  }
  const float* data() const { return reinterpret_cast<const float*>(memory_.data()); }

 private:
  FencedMemory memory_;
};

TEST(AreAtMost, TheLimitIsAtMostTheLimitAndNotANumberIsNot) {
  for (int count = 1; count <= 70; ++count) {
    for (int i = 0; i < count; ++i) {
      std::vector<float> numbers(static_cast<std::size_t>(count), kLimit);
      float& number = numbers[static_cast<std::size_t>(i)];
      EXPECT_TRUE(AreAtMost(Fenced(numbers).data(), count, kLimit));
      for (const float above : {std::nextafter(kLimit, 1.0F), kInfinity, kNan, -kNan}) {
        number = above;
        ASSERT_FALSE(AreAtMost(Fenced(numbers).data(), count, kLimit)) << i << " of " << count;
      }
      number = -kInfinity;
      ASSERT_TRUE(AreAtMost(Fenced(numbers).data(), count, kLimit)) << i << " of " << count;
    }
  }
}

TEST(AreAtMost, HoldsForNone) { EXPECT_TRUE(AreAtMost(nullptr, 0, kLimit)); }

// Runs of 512: what begins after the last whole one is shorter.
TEST(NextRunAbove, IsTheRunOfTheFirstNumberThatIsNotAtMostTheLimit) {
  for (const int count : {1, 15, 16, 511, 512, 513, 1024, 1300}) {
    for (int i = 0; i < count; ++i) {
      std::vector<float> numbers(static_cast<std::size_t>(count), kLimit);
      numbers[static_cast<std::size_t>(i)] = i % 2 == 0 ? kNan : 0.5F;
      const Fenced fenced(numbers);
      const int run = i / kScoresInRun * kScoresInRun;
      ASSERT_EQ(NextRunAbove(fenced.data(), 0, count, kLimit), run) << i << " of " << count;
      ASSERT_GE(NextRunAbove(fenced.data(), run + kScoresInRun, count, kLimit), count);
    }
  }
}

TEST(NextRunAbove, IsBehindTheEndWhereThereIsNone) {
  const std::vector<float> numbers(1300, kLimit);
  EXPECT_GE(NextRunAbove(numbers.data(), 0, 1300, kLimit), 1300);
  EXPECT_GE(NextRunAbove(numbers.data(), 1536, 1300, kLimit), 1300);
  EXPECT_GE(NextRunAbove(nullptr, 0, 0, kLimit), 0);
}

TEST(MarkAbove, SetsABitForEachNumberAboveTheLimitAndKeepsTheOthers) {
  cv::RNG random(3);
  for (int count = 1; count <= 200; ++count) {
    std::vector<float> numbers(static_cast<std::size_t>(count));
    for (float& number : numbers) {
      number = random.uniform(0, 4) == 0 ? kLimit : random.uniform(0.0F, 2.0F * kLimit);
    }
    std::vector<std::uint64_t> marks((numbers.size() + 63) / 64, 2);  // one is set before
    std::vector<std::uint64_t> expected = marks;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      if (numbers[i] > kLimit) expected[i / 64] |= std::uint64_t{1} << (i % 64);
    }
    ASSERT_TRUE(MarkAbove(Fenced(numbers).data(), count, kLimit, marks.data()));
    ASSERT_EQ(marks, expected) << count;
  }
}

TEST(MarkAbove, TellsNumbersThatAreNotFinite) {
  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    for (std::size_t i = 0; i < 70; ++i) {
      std::vector<float> numbers(70, 0.0F);
      numbers[i] = bad;
      std::vector<std::uint64_t> marks(2, 0);
      ASSERT_FALSE(MarkAbove(numbers.data(), 70, kLimit, marks.data()));
      ASSERT_EQ(marks[i / 64], bad == kInfinity ? std::uint64_t{1} << (i % 64) : 0) << bad;
    }
  }
}

}  // namespace
}  // namespace nuvik::model
