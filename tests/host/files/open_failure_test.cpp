// Why a file could not be opened.
#include "files/open_failure.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace dirty_seg {
namespace {

TEST(OpenFailure, TellsTheCause) {
  EXPECT_EQ(OpenFailure(EACCES), "cannot be opened: Permission denied");
}

TEST(OpenFailure, TakesNoCauseForAFileThatIsNotThere) {
  EXPECT_EQ(OpenFailure(0), "cannot be opened: No such file or directory");
}

}  // namespace
}  // namespace dirty_seg
