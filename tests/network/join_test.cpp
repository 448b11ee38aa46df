// Lists in messages.
#include "network/join.h"

#include <gtest/gtest.h>

namespace nuvik::model {
namespace {

TEST(Join, PutsCommasBetweenOnly) {
  EXPECT_EQ(Join({}), "");
  EXPECT_EQ(Join({"a"}), "a");
  EXPECT_EQ(Join({"a", "", "a"}), "a, , a");
}

}  // namespace
}  // namespace nuvik::model
