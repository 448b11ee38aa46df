// The names of a run's files.
#include "files/result_names.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

TEST(UniqueNames, AreTheStems) {
  UniqueNames names;
  EXPECT_EQ(names.Take("pictures/street.png"), "street");
  EXPECT_EQ(names.Take("floor.2.jpg"), "floor.2");
}

TEST(UniqueNames, CountUpWhereAStemComesAgain) {
  UniqueNames names;
  EXPECT_EQ(names.Take("a/street.png"), "street");
  EXPECT_EQ(names.Take("b/street.jpg"), "street-2");
  EXPECT_EQ(names.Take("b/street.jpg"), "street-3");
}

TEST(UniqueNames, DoNotMeetAStemThatLooksCounted) {
  UniqueNames names;
  EXPECT_EQ(names.Take("street-2.png"), "street-2");
  EXPECT_EQ(names.Take("street.png"), "street");
  EXPECT_EQ(names.Take("street.jpg"), "street-3");
}

}  // namespace
}  // namespace dirty_seg
