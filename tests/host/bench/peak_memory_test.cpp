// What a piece of work needs of the memory, measured in a process of its own.
#include "bench/peak_memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace dirty_seg {
namespace {

constexpr std::int64_t kMebibyte = 1024 * 1024;

void TouchMebibytes(std::size_t count) {
  std::vector<char> memory(count * static_cast<std::size_t>(kMebibyte), 'x');
  volatile char* data = memory.data();
  data[0] = 'y';
}

TEST(PeakMemoryOf, IsWhatTheWorkTook) {
  const auto little = PeakMemoryOf([] {});
  const auto much = PeakMemoryOf([] { TouchMebibytes(64); });
  ASSERT_TRUE(little && much);
  // The kernel counts resident pages in batches for each thread, of some hundred kibibytes; the
  // address sanitizer adds an eighth.
  EXPECT_GT(*much - *little, 62 * kMebibyte);
  EXPECT_LT(*much - *little, 76 * kMebibyte);
}

TEST(PeakMemoryOf, IsNotThatOfAnEarlierProcess) {
  const auto first = PeakMemoryOf([] { TouchMebibytes(64); });
  const auto second = PeakMemoryOf([] { TouchMebibytes(16); });
  ASSERT_TRUE(first && second);
  EXPECT_LT(*second, *first - 40 * kMebibyte);
}

TEST(PeakMemoryOf, LeavesThisProcessAsItWas) {
  int value = 1;
  ASSERT_TRUE(PeakMemoryOf([&value] { value = 2; }));
  EXPECT_EQ(value, 1);
}

TEST(PeakMemoryOf, WorkThatFailsIsNothing) {
  EXPECT_FALSE(PeakMemoryOf([] { throw std::runtime_error("no"); }));
  EXPECT_FALSE(PeakMemoryOf([] { std::abort(); }));
}

}  // namespace
}  // namespace dirty_seg
