// Areas by hand: the frame has 2073600 pixels.
#include "config/patch_coverage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Coverage, OfOnePatchOverAllHasNeitherGapNorOverlap) {
  const Coverage coverage = CoverFrame({{0, 0, 1920, 1080}});
  EXPECT_THAT(coverage.gaps, IsEmpty());
  EXPECT_EQ(coverage.gap_share, 0.0);
  EXPECT_EQ(coverage.repeated_share, 0.0);
}

TEST(Coverage, OfNoPatchIsAGapAlone) {
  const Coverage coverage = CoverFrame({});
  EXPECT_THAT(coverage.gaps, ElementsAre(cv::Rect(0, 0, 1920, 1080)));
  EXPECT_DOUBLE_EQ(coverage.gap_share, 1.0);
}

TEST(Coverage, FindsWhatLiesBetweenPatches) {
  const Coverage coverage = CoverFrame({{0, 0, 960, 1080}, {1000, 0, 920, 1000}});
  EXPECT_THAT(coverage.gaps, ElementsAre(cv::Rect(960, 0, 40, 1000), cv::Rect(960, 1000, 960, 80)));
  EXPECT_DOUBLE_EQ(coverage.gap_share, (40.0 * 1000 + 960 * 80) / 2073600);
}

TEST(Coverage, JoinsAGapOverSeveralRows) {
  const Coverage coverage = CoverFrame({{0, 0, 1900, 500}, {0, 500, 1900, 580}});
  EXPECT_THAT(coverage.gaps, ElementsAre(cv::Rect(1900, 0, 20, 1080)));
}

TEST(Coverage, CountsOverlapOnceHoweverManyShareIt) {
  const Coverage coverage = CoverFrame({{0, 0, 1920, 1080}, {0, 0, 192, 1080}, {0, 0, 192, 1080}});
  EXPECT_NEAR(coverage.repeated_share, 0.1, 1e-12);
}

TEST(Coverage, LeavesOutWhatLiesOutside) {
  const Coverage coverage = CoverFrame({{0, 0, 5000, 1080}, {2000, 0, 100, 100}});
  EXPECT_THAT(coverage.gaps, IsEmpty());
  EXPECT_EQ(coverage.repeated_share, 0.0);
}

// The sample's six patches: two rows that share 200 lines.
TEST(Coverage, OfTheSampleIsWhole) {
  std::vector<cv::Rect> patches;
  for (const int y : {0, 440}) {
    for (const int x : {0, 640, 1280}) patches.emplace_back(x, y, 640, 640);
  }
  const Coverage coverage = CoverFrame(patches);
  EXPECT_THAT(coverage.gaps, IsEmpty());
  EXPECT_NEAR(coverage.repeated_share, 200.0 / 1080, 1e-12);
}

}  // namespace
}  // namespace dirty_seg
