#include "base/text.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace dirty_seg {
namespace {

std::string Doubled(int number) { return std::to_string(2 * number); }

TEST(Join, PutsTheSeparatorBetweenOnly) {
  EXPECT_EQ(Join({}), "");
  EXPECT_EQ(Join({"a"}), "a");
  EXPECT_EQ(Join({"a", "", "b"}), "a, , b");
  EXPECT_EQ(Join({"a", "b"}, "; "), "a; b");
}

TEST(JoinEach, PutsTheSeparatorBetweenItems) {
  EXPECT_EQ(JoinEach(std::vector<int>{}, Doubled), "");
  EXPECT_EQ(JoinEach(std::vector<int>{1}, Doubled), "2");
  EXPECT_EQ(JoinEach(std::vector<int>{1, 2, 3}, Doubled), "2, 4, 6");
  EXPECT_EQ(JoinEach(std::vector<int>{1, 2}, Doubled, "; "), "2; 4");
}

TEST(JoinEach, TakesTheEntriesOfAMap) {
  const std::map<int, std::string> names{{0, "stain"}, {3, "hair"}};
  const auto text_of = [](const auto& entry) { return entry.second; };
  EXPECT_EQ(JoinEach(names, text_of), "stain, hair");
}

TEST(JoinEach, KeepsEmptyItems) {
  const auto text_of = [](const std::string& text) { return text; };
  EXPECT_EQ(JoinEach(std::vector<std::string>{"", "a", ""}, text_of), ", a, ");
}

TEST(Lower, ChangesAsciiLettersOnly) {
  EXPECT_EQ(Lower(""), "");
  EXPECT_EQ(Lower("Floor.JPG 7Z"), "floor.jpg 7z");
  EXPECT_EQ(Lower("\xc3\x84"), "\xc3\x84");
}

TEST(Counted, HasThePluralOfAllButOne) {
  EXPECT_EQ(Counted(0, "frame"), "0 frames");
  EXPECT_EQ(Counted(1, "frame"), "1 frame");
  EXPECT_EQ(Counted(2, "frame"), "2 frames");
}

TEST(OneLine, DropsLineBreaksAtTheEnd) {
  EXPECT_EQ(OneLine("cause\n\n"), "cause");
  EXPECT_EQ(OneLine("\n"), "");
  EXPECT_EQ(OneLine(""), "");
}

TEST(OneLine, HasASpaceForAnyOtherControlCharacter) {
  EXPECT_EQ(OneLine("\na\tb\r\nc\x1f"), " a b  c ");
  EXPECT_EQ(OneLine("\xc3\xa4 \x7f"), "\xc3\xa4 \x7f");
}

}  // namespace
}  // namespace dirty_seg
