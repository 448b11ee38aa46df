// Columns and numbers to read.
#include "base/text_table.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

TEST(FormatTable, MakesColumnsAsWideAsTheirWidest) {
  EXPECT_EQ(FormatTable({{"name", "n"}, {"long name", "100", "x"}, {"", "7"}}),
            "name         n\n"
            "long name  100  x\n"
            "             7\n");
}

TEST(FormatTable, CountsLettersNotBytes) {
  EXPECT_EQ(FormatTable({{"weiß", "1"}, {"abcd", "2"}}), "weiß  1\nabcd  2\n");
}

TEST(FormatTable, LeavesNoBlankAtTheEndOfALine) {
  EXPECT_EQ(FormatTable({{"a", ""}, {"abc"}, {}}), "a\nabc\n\n");
}

TEST(Fixed, Rounds) {
  EXPECT_EQ(Fixed(2.0 / 3.0, 3), "0.667");
  EXPECT_EQ(Fixed(12.0, 0), "12");
  EXPECT_EQ(Fixed(1e308, 2).size(), 312U);
}

}  // namespace
}  // namespace dirty_seg
