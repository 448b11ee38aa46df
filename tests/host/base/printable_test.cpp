// Names of files and other text on their way to a terminal.
#include "base/printable.h"

#include <gtest/gtest.h>

#include <string>

namespace dirty_seg {
namespace {

using namespace std::string_literals;

TEST(Printable, LeavesTextAlone) {
  for (const char* text : {"", "it's a name.png", "C:\\new", "Küche", "检测", "🧹", "\u00a0"}) {
    EXPECT_EQ(Printable(text), text);
  }
}

TEST(Printable, ShowsControlCharacters) {
  EXPECT_EQ(Printable("\x1b[31mred.png"), "\\x1b[31mred.png");
  EXPECT_EQ(Printable("a\nb\tc\r"), "a\\nb\\tc\\x0d");
  EXPECT_EQ(Printable("\0\x7f"s), "\\x00\\x7f");
  EXPECT_EQ(Printable("\u0080\u009b[2J\u009f"), "\\xc2\\x80\\xc2\\x9b[2J\\xc2\\x9f");
}

TEST(Printable, ShowsBytesThatAreNotUtf8) {
  EXPECT_EQ(Printable("f\xfcr.png"), "f\\xfcr.png");                 // Latin-1
  EXPECT_EQ(Printable("\x9b[2J"), "\\x9b[2J");                       // C1 in one byte
  EXPECT_EQ(Printable("\xc0\x9b"), "\\xc0\\x9b");                    // ESC in two bytes
  EXPECT_EQ(Printable("\xe0\x80\x9b"), "\\xe0\\x80\\x9b");           // and in three
  EXPECT_EQ(Printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");           // half of a pair
  EXPECT_EQ(Printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // beyond the last
  EXPECT_EQ(Printable("\xe6\xa3"), "\\xe6\\xa3");                    // cut short
  EXPECT_EQ(Printable("\xe6\xa3\x80"), "检");
}

TEST(PrintableLines, KeepTheirBreaks) {
  EXPECT_EQ(PrintableLines("one\n\ntwo\x1b\n"), "one\n\ntwo\\x1b\n");
  EXPECT_EQ(PrintableLines("a\tb"), "a\\tb");
}

}  // namespace
}  // namespace dirty_seg
