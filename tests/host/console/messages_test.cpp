// Messages on standard error.
#include "console/messages.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace dirty_seg {
namespace {

std::string Said(const std::function<void()>& say) {
  testing::internal::CaptureStderr();
  say();
  return testing::internal::GetCapturedStderr();
}

TEST(Messages, AreOneLineEach) {
  EXPECT_EQ(Said([] {
              PrintMessage("done");
              PrintWarning("odd");
              PrintError("bad");
              PrintLine("as it is");
            }),
            "dirty_seg: done\ndirty_seg: warning: odd\ndirty_seg: error: bad\nas it is\n");
}

TEST(Messages, ThatAreNoErrorsAreSilentWhenQuiet) {
  EXPECT_EQ(Said([] {
              SetQuiet(true);
              PrintMessage("done");
              PrintWarning("odd");
              PrintLine("as it is");
              ShowStatusLine("half");
              PrintError("bad");
              SetQuiet(false);
            }),
            "dirty_seg: error: bad\n");
}

TEST(Messages, TakeThePlaceOfTheStatusLine) {
  EXPECT_EQ(Said([] {
              ShowStatusLine("half");
              ShowStatusLine("most");
              PrintError("bad");
              ShowStatusLine("all");
              ShowStatusLine("");
              ShowStatusLine("");
            }),
            "half\r\033[Kmost\r\033[Kdirty_seg: error: bad\nall\r\033[K");
}

TEST(Messages, ShowWhatATerminalWouldActOn) {
  EXPECT_EQ(Said([] {
              PrintMessage("a\nb");
              PrintLine("\033[31mred");
              ShowStatusLine("\r");
              ShowStatusLine("");
            }),
            "dirty_seg: a\\nb\n\\x1b[31mred\n\\x0d\r\033[K");
}

}  // namespace
}  // namespace dirty_seg
