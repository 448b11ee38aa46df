// What the values of shared options have to be.
#include "commands/options.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

TEST(ThreadsCheck, GoesUpToTheEnginesMost) {
  const ValueCheck check = ThreadsCheck();
  EXPECT_EQ(check("0"), "");
  EXPECT_EQ(check("1024"), "");
  EXPECT_EQ(check("1025"), "1025 is not a whole number from 0 to 1024");
  EXPECT_EQ(check("-1"), "-1 is not a whole number from 0 to 1024");
}

TEST(ClassIdCheck, TakesWholeNumbersFromZero) {
  const ValueCheck check = ClassIdCheck();
  EXPECT_EQ(check("0"), "");
  EXPECT_EQ(check("1000000"), "");
  EXPECT_EQ(check("1000001"), "1000001 is not a class id, a whole number from 0");
  EXPECT_EQ(check("1.5"), "1.5 is not a class id, a whole number from 0");
}

}  // namespace
}  // namespace dirty_seg
