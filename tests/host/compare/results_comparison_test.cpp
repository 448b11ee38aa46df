// Two results: which frames belong together, and what is beyond a limit.
#include "compare/results_comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "compare/results_limits.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

StoredFrame Frame(const std::string& source, std::int64_t number = 0) {
  StoredFrame frame;
  frame.line = 1;
  frame.source = source;
  frame.frame = number;
  return frame;
}

Results MakeResults(std::vector<StoredFrame> frames) {
  return {"x/results.jsonl", "x", std::move(frames)};
}

// One detection [0, 0, 10, 10], class 3, score 0.5, and a mask of the left half of 2 x 4 pixels.
StoredFrame FrameWithDetection() {
  StoredFrame frame = Frame("a.png");
  frame.detections = {{{0, 0, 10, 10}, 0.5F, 3}};
  frame.masks[3].run_lengths = {2, 4, "044"};
  return frame;
}

TEST(CompareResults, PairsFramesBySourceAndNumber) {
  const Results a =
      MakeResults({Frame("v.mp4", 0), Frame("v.mp4", 5), Frame("x.png"), Frame("gone.png")});
  const Results b =
      MakeResults({Frame("x.png"), Frame("v.mp4", 5), Frame("v.mp4", 0), Frame("v.mp4", 6)});
  const ResultsComparison comparison = CompareResults(a, b);
  ASSERT_EQ(comparison.frames.size(), 3U);
  EXPECT_EQ(comparison.frames[0].a, &a.frames[0]);  // in the order of A
  EXPECT_EQ(comparison.frames[0].b, &b.frames[2]);
  EXPECT_EQ(comparison.frames[1].b, &b.frames[1]);
  EXPECT_EQ(comparison.frames[2].b, &b.frames[0]);
  EXPECT_THAT(comparison.only_in_a, ElementsAre(&a.frames[3]));
  EXPECT_THAT(comparison.only_in_b, ElementsAre(&b.frames[3]));
}

TEST(CompareResults, TakesTheFileNameWhereTheFoldersDiffer) {
  // The second of A has its very path in B; the first is left with the other file of that name.
  const Results a = MakeResults({Frame("here/x.png"), Frame("there/x.png")});
  const Results b = MakeResults({Frame("there/x.png"), Frame("elsewhere/x.png")});
  const ResultsComparison comparison = CompareResults(a, b);
  ASSERT_EQ(comparison.frames.size(), 2U);
  EXPECT_EQ(comparison.frames[0].b, &b.frames[1]);
  EXPECT_EQ(comparison.frames[1].b, &b.frames[0]);
}

TEST(CompareResults, PairsTheSameFrameManyTimesInOrder) {
  const Results a = MakeResults({Frame("x.png"), Frame("x.png"), Frame("x.png")});
  const Results b = MakeResults({Frame("x.png"), Frame("x.png")});
  const ResultsComparison comparison = CompareResults(a, b);
  ASSERT_EQ(comparison.frames.size(), 2U);
  EXPECT_EQ(comparison.frames[1].b, &b.frames[1]);
  EXPECT_THAT(comparison.only_in_a, ElementsAre(&a.frames[2]));
}

// Both are of label 19: the network's own class there, confirmed faeces here.
TEST(CompareResults, TakesANativeClass19AndConfirmedFaecesForDifferent) {
  StoredFrame native = FrameWithDetection();
  native.detections[0].label = 19;
  native.confirmed = {false};
  StoredFrame confirmed = native;
  confirmed.confirmed = {true};
  confirmed.candidates = {{0, "confirmed", 0.75}};
  const Results a = MakeResults({native});
  const Results b = MakeResults({confirmed});
  const FrameDifference changed = CompareResults(a, b).frames.at(0).difference;
  ASSERT_EQ(changed.verdict_changes.size(), 1U);
  EXPECT_EQ(changed.verdict_changes[0].in_a, "native");
  EXPECT_EQ(changed.verdict_changes[0].in_b, "confirmed");
  EXPECT_THAT(CompareResults(a, a).frames.at(0).difference.verdict_changes, IsEmpty());
}

class Limits : public testing::Test {
 protected:
  // B has the box 1.5 pixels further right at a score of 0.75, and half of the mask.
  Limits() {
    b_.frames[0].detections[0].box = {1.5F, 0, 11.5F, 10};
    b_.frames[0].detections[0].score = 0.75F;
    b_.frames[0].masks[3].run_lengths = {2, 4, "026"};
  }

  std::vector<std::string> Excesses(const ResultsLimits& limits) const {
    return FindExcesses(CompareResults(a_, b_), limits);
  }

  Results a_ = MakeResults({FrameWithDetection()});
  Results b_ = MakeResults({FrameWithDetection()});
};

TEST_F(Limits, AreKeptByWhatIsExactlyAtThem) {
  EXPECT_THAT(Excesses({1.5, 0.25, 0.5, 0}), IsEmpty());
  EXPECT_THAT(Excesses({}), IsEmpty());
}

TEST_F(Limits, NameOptionFrameAndValue) {
  EXPECT_THAT(Excesses({1.25, std::nullopt, std::nullopt, std::nullopt}),
              ElementsAre("--max-box-distance 1.25: 1.5 pixels in 'a.png'"));
  EXPECT_THAT(Excesses({std::nullopt, 0.125, std::nullopt, std::nullopt}),
              ElementsAre("--max-score-difference 0.125: 0.25 in 'a.png'"));
  EXPECT_THAT(Excesses({std::nullopt, std::nullopt, 0.625, std::nullopt}),
              ElementsAre("--min-mask-iou 0.625: 0.5 in 'a.png'"));
}

TEST_F(Limits, CountEveryDetectionWithoutPartner) {
  a_.frames[0].detections.push_back({{50, 0, 60, 10}, 0.5F, 3});
  b_.frames[0].detections.push_back({{50, 0, 60, 10}, 0.5F, 4});
  b_.frames[0].detections.push_back({{80, 0, 90, 10}, 0.5F, 4});
  EXPECT_THAT(Excesses({std::nullopt, std::nullopt, std::nullopt, 1}),
              ElementsAre("--max-unmatched 1: 2 detections"));
  EXPECT_THAT(Excesses({std::nullopt, std::nullopt, std::nullopt, 2}), IsEmpty());
}

TEST_F(Limits, AreBrokenByAFrameOfOneSide) {
  a_.frames.push_back(Frame("gone.png"));
  b_.frames[0].success = false;
  EXPECT_THAT(Excesses({100.0, std::nullopt, std::nullopt, std::nullopt}),
              ElementsAre("'gone.png' is only in A", "'a.png' failed only in B"));
  EXPECT_THAT(Excesses({}), IsEmpty());
}

TEST(ComparisonText, HasARowAFrameAndNamesTheRest) {
  StoredFrame later = FrameWithDetection();
  later.source = "folder/a_very_long_name_of_a_video_file_indeed.mp4";
  later.frame = 7;
  const Results a = MakeResults({FrameWithDetection(), later, Frame("gone.mp4", 2)});
  const Results b = MakeResults({FrameWithDetection(), later});
  const std::string text = ComparisonText(CompareResults(a, b));
  EXPECT_THAT(text,
              HasSubstr("\na.png                                      1       0       0      0"
                        "    0.00  0.0000    1.0000     0\n"));
  EXPECT_THAT(text, HasSubstr("\n...me_of_a_video_file_indeed.mp4 #7        1 "));
  EXPECT_THAT(text, HasSubstr("\nonly in A  'gone.mp4' frame 2\n"));
  EXPECT_THAT(text, HasSubstr("\nall 2 frames\ndetections          2 matched,"));
}

}  // namespace
}  // namespace dirty_seg
