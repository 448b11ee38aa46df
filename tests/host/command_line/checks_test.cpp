#include "command_line/checks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace dirty_seg {
namespace {

TEST(NumberFrom, TakesBothBounds) {
  const ValueCheck check = NumberFrom(1, 64, "a whole number from 1 to 64");
  EXPECT_EQ(check("1"), "");
  EXPECT_EQ(check("64"), "");
  EXPECT_EQ(check("0"), "0 is not a whole number from 1 to 64");
  EXPECT_EQ(check("65"), "65 is not a whole number from 1 to 64");
}

TEST(NumberFrom, RefusesWhatIsNoNumberOfTheType) {
  const ValueCheck whole = NumberFrom<std::int64_t>(0, 10, "whole");
  for (const char* text : {"", "x", "1.5", "1x", "1 2", "99999999999999999999"}) {
    EXPECT_EQ(whole(text), std::string(text) + " is not whole");
  }
  EXPECT_EQ(NumberFrom<std::size_t>(0, 10, "whole")("-1"), "-1 is not whole");
}

TEST(NumberFrom, RefusesNotANumberAndInfinity) {
  const ValueCheck check = NumberFrom(0.0, std::numeric_limits<double>::max(), "finite");
  EXPECT_EQ(check("1e300"), "");
  EXPECT_EQ(check("nan"), "nan is not finite");
  EXPECT_EQ(check("inf"), "inf is not finite");
  EXPECT_EQ(NumberFrom(0.0F, 1.0F, "a probability")("nan"), "nan is not a probability");
}

TEST(OneOf, NamesTheWordsAndTheNearest) {
  const ValueCheck check = OneOf({"scale", "pad"});
  EXPECT_EQ(check("pad"), "");
  EXPECT_EQ(check("padd"), "padd is not one of scale, pad; did you mean 'pad'?");
  EXPECT_EQ(check("crop it"), "crop it is not one of scale, pad");
}

TEST(NotEmpty, SaysWhatIsExpected) {
  const ValueCheck check = NotEmpty("a folder's name");
  EXPECT_EQ(check(" "), "");
  EXPECT_EQ(check(""), "the text is empty; expected a folder's name");
}

}  // namespace
}  // namespace dirty_seg
