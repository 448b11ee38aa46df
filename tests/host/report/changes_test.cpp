// What changed in a run against another one.
#include "report/changes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "report/report_data.h"
#include "support/rejection.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

StoredFrame Frame(const std::string& source, const std::vector<Detection>& detections = {}) {
  StoredFrame frame;
  frame.line = 1;
  frame.source = source;
  frame.detections = detections;
  return frame;
}

const Detection kStain{{0, 0, 10, 10}, 0.5F, 1};
const Detection kCoffee{{100, 0, 110, 10}, 0.5F, 2};

Results ResultsOf(std::vector<StoredFrame> frames) {
  return {"here/results.jsonl", "here", std::move(frames)};
}

OtherRun OtherOf(std::vector<StoredFrame> frames) {
  return {"runs/before", {"there/results.jsonl", "there", std::move(frames)}, std::nullopt};
}

// Of one frame in both.
ordered_json ChangeOf(const StoredFrame& here, const StoredFrame& there) {
  const Results results = ResultsOf({here});
  const OtherRun other = OtherOf({there});
  const Changes changes(results, other);
  EXPECT_THAT(changes.changed(), ElementsAre(0));
  return changes.FrameToJson(0);
}

TEST(Changes, AreNoneInEqualFrames) {
  const Results results = ResultsOf({Frame("a.png", {kStain, kCoffee})});
  const OtherRun other = OtherOf({Frame("x/a.png", {kCoffee, kStain})});
  const Changes changes(results, other);
  EXPECT_THAT(changes.changed(), IsEmpty());
  EXPECT_EQ(changes.OtherOf(0), other.results.frames.data());
  EXPECT_THAT(changes.Notes(),
              ElementsAre(Pair("Compared with 'runs/before': none of 1 frame changed.", false)));
}

TEST(Changes, TellWhatCameWentAndWasCalledOtherwise) {
  Detection coffee = kStain;
  coffee.label = 2;
  const Detection far{{500, 0, 510, 10}, 0.5F, 1};
  EXPECT_EQ(ChangeOf(Frame("a", {kStain, kCoffee}), Frame("a", {far, coffee})).dump(),
            R"({"appeared":[1],"vanished":[0],"relabelled":[[0,1]]})");
}

TEST(Changes, TellHowFarBoxesAndScoresWent) {
  const Detection moved{{1.25F, 0, 11.25F, 10}, 0.625F, 1};
  EXPECT_EQ(ChangeOf(Frame("a", {kCoffee, kStain}), Frame("a", {moved, kCoffee})).dump(),
            R"({"moved":[[1,0,1.25]],"rescored":[[1,0,0.125]]})");
}

TEST(Changes, TellMasksAndVerdictsOfTheOther) {
  StoredFrame here = Frame("a", {kStain});
  here.masks[1].run_lengths = {2, 4, "044"};
  here.masks[2].run_lengths = {2, 4, "044"};
  here.candidates = {{0, "confirmed", 0.9}};
  StoredFrame there = here;
  there.masks[1].run_lengths = {2, 4, "026"};
  there.candidates = {{0, "rejected", 0.1}};
  EXPECT_EQ(ChangeOf(here, there).dump(), R"({"masks":{"1":0.5},"verdicts":[[0,0,"rejected"]]})");
}

TEST(Changes, TellOnWhichSideAFrameFailed) {
  StoredFrame failed = Frame("a");
  failed.success = false;
  EXPECT_EQ(ChangeOf(failed, Frame("a")).dump(), R"({"failed":"here"})");
  EXPECT_EQ(ChangeOf(Frame("a"), failed).dump(), R"({"failed":"there"})");
}

TEST(Changes, CountFramesOfOneRunAlone) {
  const Results results = ResultsOf({Frame("a.png"), Frame("b.png", {kStain})});
  std::vector<StoredFrame> frames{Frame("a.png"), Frame("c.png"), Frame("d.avi")};
  frames[2].frame = 7;
  const OtherRun other = OtherOf(frames);
  const Changes changes(results, other);
  EXPECT_THAT(changes.changed(), ElementsAre(1));
  EXPECT_EQ(changes.FrameToJson(1).dump(), R"({"only_here":true})");
  EXPECT_EQ(changes.OtherOf(1), nullptr);
  EXPECT_EQ(changes.ToJson().dump(), R"({"name":"runs/before","common":1,"changed":1,)"
                                     R"("only_here":1,"only_there":2})");
  EXPECT_THAT(
      changes.Notes(),
      ElementsAre(Pair("Compared with 'runs/before': 1 of 2 frames changed, 1 of which only this "
                       "run has.",
                       false),
                  Pair("The other run has 2 frames that this one has not: 'c.png', 'd.avi' frame "
                       "7.",
                       false)));
}

TEST(Changes, NameTenFramesOfTheOtherRun) {
  std::vector<StoredFrame> frames{Frame("a.png")};
  for (int i = 0; i < 12; ++i) frames.push_back(Frame(std::to_string(i)));
  const Results results = ResultsOf({Frame("a.png")});
  const OtherRun other = OtherOf(frames);
  EXPECT_THAT(Changes(results, other).Notes().at(1).first,
              testing::EndsWith("'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', and 2 more."));
}

TEST(Changes, WarnOfAnOtherRunThatIsNotWholeOrUnlike) {
  const Results results = ResultsOf({Frame("a.png")});
  OtherRun other = OtherOf({Frame("a.png")});
  other.results.ends_unfinished = true;
  other.results.frames[0].things.emplace();
  other.facts.emplace();
  other.facts->model = "nets/q.onnx";
  other.facts->config = "c.yaml";
  const auto notes = Changes(results, other).Notes();
  ASSERT_EQ(notes.size(), 3U);
  EXPECT_THAT(notes[0].first,
              HasSubstr("'runs/before' (network q.onnx, configuration c.yaml): none of"));
  EXPECT_THAT(notes[1].first, HasSubstr("last line of the other run ends in the middle"));
  EXPECT_THAT(notes[2].first, HasSubstr("Only one of the two runs joined detections to things"));
  EXPECT_TRUE(notes[1].second && notes[2].second);
}

TEST(Changes, RefuseRunsWithoutACommonFrame) {
  const auto refusal = [](const Results& results, const OtherRun& other) {
    return test::RejectionOf<SetupError>([&] { const Changes changes(results, other); });
  };
  EXPECT_EQ(refusal(ResultsOf({Frame("a.png")}), OtherOf({Frame("b.png")})),
            "'here/results.jsonl' and 'there/results.jsonl' have no frame in common; expected two "
            "runs over the same files: a frame is known by its source, or else its file's name, "
            "and its number");
  EXPECT_EQ(refusal(ResultsOf({Frame("a.png")}), OtherOf({})),
            "'there/results.jsonl' has no frame; expected two runs over the same frames to show "
            "what changed");
  EXPECT_THAT(refusal(ResultsOf({}), OtherOf({Frame("a.png")})),
              HasSubstr("'here/results.jsonl' has no frame"));
}

// ---- In the page's data -------------------------------------------------------------------------

ordered_json DataOf(const Results& results, const OtherRun& other) {
  return ReportData(results, RunFacts(), &other).ToJson(100);
}

TEST(ReportDataAgainst, HasWhatTheOtherRunFound) {
  StoredFrame there = Frame("a.png", {kCoffee});
  there.label_names = {{2, "coffee"}};
  const ordered_json data = DataOf(ResultsOf({Frame("a.png", {kStain}), Frame("b.png")}),
                                   OtherOf({there, Frame("b.png")}));
  EXPECT_EQ(data["frames"][0]["other"].dump(),
            R"({"boxes":[[100.0,0.0,110.0,10.0]],"scores":[0.5],"labels":[2]})");
  EXPECT_EQ(data["frames"][0]["change"].dump(), R"({"appeared":[0],"vanished":[0]})");
  EXPECT_FALSE(data["frames"][1].contains("change"));
  EXPECT_TRUE(data["frames"][1].contains("other"));
  EXPECT_EQ(data["labels"]["2"]["name"], "coffee");
  EXPECT_EQ(data["against"]["changed"], 1);
  EXPECT_THAT(data["notes"].dump(), HasSubstr("1 of 2 frames changed."));
}

TEST(ReportDataAgainst, HasNothingMoreWithoutAnotherRun) {
  const Results results = ResultsOf({Frame("a.png", {kStain})});
  const ordered_json data = ReportData(results, RunFacts()).ToJson(100);
  EXPECT_FALSE(data.contains("against"));
  EXPECT_FALSE(data["frames"][0].contains("other"));
  EXPECT_FALSE(data["frames"][0].contains("change"));
}

// Boxes of a picture of half the size, as the other run saw it.
TEST(ReportDataAgainst, ScalesBoxesToThePagesPicture) {
  StoredFrame here = Frame("a.png", {kStain});
  here.image_size = cv::Size(640, 480);
  StoredFrame there = here;
  there.image_size = cv::Size(320, 120);
  EXPECT_EQ(DataOf(ResultsOf({here}), OtherOf({there}))["frames"][0]["other"]["boxes"].dump(),
            "[[0.0,0.0,20.0,40.0]]");
}

// The network's own class 19 here, what a classifier confirmed there.
TEST(ReportDataAgainst, TellsKindsOfOneLabelApart) {
  StoredFrame here = Frame("a.png", {{{0, 0, 10, 10}, 0.5F, 19}});
  here.confirmed = {false};
  here.label_names = {{19, "cow"}};
  StoredFrame there = here;
  there.confirmed = {true};
  there.candidates = {{0, "confirmed", 0.9}};
  const ordered_json data = DataOf(ResultsOf({here}), OtherOf({there}));
  EXPECT_EQ(data["frames"][0]["labels"].dump(), "[19]");
  EXPECT_EQ(data["frames"][0]["other"]["labels"].dump(), "[20]");
  EXPECT_EQ(data["labels"]["19"]["name"], "cow");
  EXPECT_EQ(data["labels"]["20"]["name"], "faeces");
  EXPECT_EQ(data["has_classifier"], true);
  there.confirmed.clear();  // as older results have it, where candidates tell of the classifier
  EXPECT_EQ(DataOf(ResultsOf({here}), OtherOf({there}))["frames"][0]["other"]["labels"].dump(),
            "[20]");
}

TEST(ReportDataAgainst, GivesChangedFramesTheirPicturesFirst) {
  std::vector<StoredFrame> frames;
  for (const char* name : {"a", "b", "c", "d", "e", "f"}) frames.push_back(Frame(name));
  const OtherRun other = OtherOf(frames);
  frames[1].detections = frames[4].detections = {kStain};
  const Results results = ResultsOf(frames);
  const ReportData data(results, RunFacts(), &other);
  EXPECT_THAT(data.ChooseFrames(1), ElementsAre(1));
  EXPECT_THAT(data.ChooseFrames(2), ElementsAre(1, 4));
  EXPECT_THAT(data.ChooseFrames(4), ElementsAre(0, 1, 3, 4));
  EXPECT_THAT(data.ToJson(4)["notes"].dump(),
              HasSubstr("of 4 frames of 6, changed ones first, evenly spread"));
}

}  // namespace
}  // namespace dirty_seg
