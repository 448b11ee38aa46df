// Distances counted by hand.
#include "base/nearest.h"

#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

const std::vector<std::string> kKeys{"score_threshold", "iou_threshold", "mask_threshold",
                                     "max_detections", "class_agnostic"};

TEST(EditDistance, CountsInsertedLeftOutAndExchangedLetters) {
  EXPECT_EQ(EditDistance("", ""), 0);
  EXPECT_EQ(EditDistance("", "abc"), 3);
  EXPECT_EQ(EditDistance("abc", ""), 3);
  EXPECT_EQ(EditDistance("kitten", "sitting"), 3);
  EXPECT_EQ(EditDistance("abc", "abc"), 0);
  EXPECT_EQ(EditDistance("abcd", "abd"), 1);
}

TEST(EditDistance, CountsASwapOfNeighboursOnce) {
  EXPECT_EQ(EditDistance("detcet", "detect"), 1);
  EXPECT_EQ(EditDistance("ab", "ba"), 1);
  EXPECT_EQ(EditDistance("ca", "abc"), 3);  // the letters swapped are not changed again
}

TEST(EditDistance, IsTheSameInBothDirections) {
  for (const std::string& from : kKeys) {
    for (const std::string& to : kKeys) EXPECT_EQ(EditDistance(from, to), EditDistance(to, from));
  }
}

TEST(Nearest, FindsTheWordBehindASlip) {
  EXPECT_EQ(Nearest("scor_treshold", kKeys), "score_threshold");
  EXPECT_EQ(Nearest("class-agnostic", kKeys), "class_agnostic");
  EXPECT_EQ(Nearest("detcet", {"bench", "detect"}), "detect");
}

TEST(Nearest, FindsAWordThatWasBegun) {
  EXPECT_EQ(Nearest("comp", {"compare", "completion"}), "compare");
  EXPECT_EQ(Nearest("max", kKeys), "max_detections");
}

TEST(Nearest, FindsNothingFarAway) {
  EXPECT_EQ(Nearest("nonsense", kKeys), std::nullopt);
  EXPECT_EQ(Nearest("x", kKeys), std::nullopt);
  EXPECT_EQ(Nearest("scores", {}), std::nullopt);
}

TEST(DidYouMean, AsksOrSaysNothing) {
  EXPECT_EQ(DidYouMean("yml", {"json", "yaml"}), "; did you mean 'yaml'?");
  EXPECT_EQ(DidYouMean("toml-file", {"json", "yaml"}), "");
}

}  // namespace
}  // namespace dirty_seg
