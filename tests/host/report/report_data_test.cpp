#include "report/report_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "base/errors.h"
#include "support/pictures.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::size_t kAll = 100;

StoredFrame Frame(const std::vector<Detection>& detections = {}) {
  StoredFrame frame;
  frame.line = 1;
  frame.source = "floor.jpg";
  frame.detections = detections;
  return frame;
}

StoredFrame FailedFrame(const std::string& message) {
  StoredFrame frame = Frame();
  frame.success = false;
  frame.message = message;
  return frame;
}

Results ResultsOf(std::vector<StoredFrame> frames) {
  Results results;
  results.file = "results.jsonl";
  results.frames = std::move(frames);
  return results;
}

ordered_json DataOf(const Results& results, const std::optional<RunFacts>& facts = RunFacts()) {
  return ReportData(results, facts).ToJson(kAll);
}

std::string NotesOf(const ordered_json& data) {
  std::string notes;
  for (const ordered_json& note : data["notes"]) {
    notes += std::string(note["is_warning"].get<bool>() ? "! " : "") +
             note["text"].get<std::string>() + "\n";
  }
  return notes;
}

// ---- The choice of pictures ---------------------------------------------------------------------

TEST(ChooseFrames, TakesAllThatAreFewEnough) {
  EXPECT_THAT(ChooseFrames({Frame(), Frame(), Frame()}, 3), ElementsAre(0, 1, 2));
  EXPECT_THAT(ChooseFrames({}, 3), IsEmpty());
}

TEST(ChooseFrames, SpreadsTheOthersEvenly) {
  EXPECT_THAT(ChooseFrames(std::vector<StoredFrame>(10, Frame()), 4), ElementsAre(0, 2, 5, 7));
  EXPECT_THAT(ChooseFrames(std::vector<StoredFrame>(10, Frame()), 1), ElementsAre(0));
  EXPECT_THAT(ChooseFrames(std::vector<StoredFrame>(10, Frame()), 0), IsEmpty());
}

TEST(ChooseFrames, PassesOverThoseThatFailed) {
  EXPECT_THAT(ChooseFrames({FailedFrame(""), Frame(), FailedFrame(""), Frame(), Frame()}, 2),
              ElementsAre(1, 3));
}

// ---- Frames -------------------------------------------------------------------------------------

TEST(ReportData, TellsAFramesDetectionsInShortNumbers) {
  StoredFrame frame = Frame({{{1.26F, 2.0F, 3.0F, 4.5F}, 0.123456F, 7}});
  frame.frame = 12;
  frame.message = "success";
  const ordered_json data = DataOf(ResultsOf({frame}));
  const ordered_json& json = data["frames"][0];
  EXPECT_EQ(json["source"], "floor.jpg");
  EXPECT_EQ(json["frame"], 12);
  EXPECT_EQ(json["ok"], true);
  EXPECT_EQ(json["boxes"].dump(), "[[1.3,2.0,3.0,4.5]]");
  EXPECT_EQ(json["scores"].dump(), "[0.1235]");
  EXPECT_EQ(json["labels"].dump(), "[7]");
  EXPECT_EQ(json["candidates"].dump(), "[]");
}

TEST(ReportData, RoundsNoEdgeOntoAWholePixel) {
  const StoredFrame frame = Frame({{{9.96F, 10.04F, 20.04F, 20.0F}, 0.5F, 7}});
  EXPECT_EQ(DataOf(ResultsOf({frame}))["frames"][0]["boxes"].dump(), "[[9.9,10.1,20.1,20.0]]");
}

TEST(ReportData, TellsAScoreThatIsNoNumberAsNull) {
  const StoredFrame frame = Frame({{{0, 0, 1, 1}, std::nanf(""), 3}});
  EXPECT_EQ(DataOf(ResultsOf({frame}))["frames"][0]["scores"].dump(), "[null]");
}

TEST(ReportData, TakesTheSizeFromThePictureElseFromTheLineElseTheFrame) {
  StoredFrame reported = Frame();
  reported.image_size = cv::Size(640, 480);
  const Results results = ResultsOf({Frame(), reported, reported});
  ReportData data(results, RunFacts());
  data.SetPicture(2, {PictureOrigin::kSource, test::Plain({64, 32}, test::kRedPixel)});
  const ordered_json frames = data.ToJson(kAll)["frames"];
  EXPECT_EQ(frames[0]["size"].dump(), "[1920,1080]");
  EXPECT_EQ(frames[1]["size"].dump(), "[640,480]");
  EXPECT_EQ(frames[2]["size"].dump(), "[64,32]");
}

TEST(ReportData, SaysWhatAPictureIsOf) {
  const Results results = ResultsOf({Frame(), Frame(), Frame(), Frame()});
  ReportData data(results, RunFacts());
  const cv::Mat picture = test::Plain({64, 32}, test::kRedPixel);
  data.SetPicture(0, {PictureOrigin::kSource, picture});
  data.SetPicture(1, {PictureOrigin::kOverlay, picture});
  data.SetPicture(2, {PictureOrigin::kNone, {}});
  const ordered_json json = data.ToJson(kAll);
  EXPECT_EQ(json["frames"][0]["picture"], "source");
  EXPECT_EQ(json["frames"][1]["picture"], "overlay");
  EXPECT_FALSE(json["frames"][2].contains("picture"));
  EXPECT_EQ(json["frames"][2]["without"], "its picture could not be read");
  EXPECT_FALSE(json["frames"][3].contains("picture"));
  EXPECT_FALSE(json["frames"][3].contains("without"));
  EXPECT_THAT(NotesOf(json), HasSubstr("! The source of 1 picture is gone or has changed"));
  EXPECT_THAT(NotesOf(json), HasSubstr("! 1 picture could not be read"));
}

TEST(ReportData, HasMasksOfTheChosenFramesAlone) {
  StoredFrame frame = Frame();
  frame.masks[7].run_lengths = {2, 3, "132"};
  const Results results = ResultsOf({frame, frame});
  ReportData data(results, RunFacts());
  data.SetPicture(1, {PictureOrigin::kNone, {}});
  const ordered_json frames = data.ToJson(kAll)["frames"];
  EXPECT_EQ(frames[0]["masks"].dump(), "{}");
  EXPECT_EQ(frames[1]["masks"].dump(), R"({"7":{"size":[2,3],"counts":"132"}})");
}

TEST(ReportData, RefusesAMaskThatThePageCouldNotDecode) {
  StoredFrame frame = Frame();
  frame.file = "results.jsonl";
  frame.line = 4;
  frame.masks[7].run_lengths = {2, 3, "139"};
  const Results results = ResultsOf({frame});
  ReportData data(results, RunFacts());
  data.SetPicture(0, {PictureOrigin::kNone, {}});
  EXPECT_THAT(test::RejectionOf<SetupError>([&data] { data.ToJson(kAll); }),
              HasSubstr("'results.jsonl' line 4: label_masks.7"));
}

TEST(ReportData, TellsTheVerdictsOnCandidates) {
  StoredFrame frame = Frame({{{0, 0, 1, 1}, 0.9F, 3}, {{0, 0, 1, 1}, 0.9F, 3}});
  frame.candidates = {{0, "rejected", 0.20004}, {1, "not_checked", std::nullopt}};
  const ordered_json data = DataOf(ResultsOf({frame}));
  EXPECT_EQ(data["frames"][0]["candidates"].dump(),
            R"([{"detection":0,"verdict":"rejected","score":0.2},)"
            R"({"detection":1,"verdict":"not_checked"}])");
  EXPECT_EQ(data["has_classifier"], true);
}

// ---- Labels -------------------------------------------------------------------------------------

TEST(ReportData, NamesAndColoursEveryLabelInUse) {
  StoredFrame first = Frame({{{0, 0, 1, 1}, 0.9F, 1}});
  first.label_names = {{1, "stain"}, {5, "unused"}};
  const StoredFrame second = Frame({{{0, 0, 1, 1}, 0.9F, 7}});
  const ordered_json labels = DataOf(ResultsOf({first, second}))["labels"];
  EXPECT_EQ(labels.dump(), R"({"1":{"name":"stain","colour":"#56b4e9"},)"
                           R"("7":{"name":"class 7","colour":"#56b4e9"}})");
}

TEST(ReportData, GivesConfirmedFaecesTheirOwnColour) {
  StoredFrame frame = Frame({{{0, 0, 1, 1}, 0.9F, 19}});
  frame.label_names = {{19, "cow"}};
  EXPECT_EQ(DataOf(ResultsOf({frame}))["labels"]["19"]["colour"], "#56b4e9");
  RunFacts facts;
  facts.fece_model = "fece.onnx";
  const ordered_json reported = DataOf(ResultsOf({frame}), facts);
  EXPECT_EQ(reported["labels"]["19"].dump(), R"({"name":"faeces","colour":"#cc3311"})");
  // Results of a version that reported no candidates.
  frame.label_names = {{19, "faeces"}};
  EXPECT_EQ(DataOf(ResultsOf({frame}))["labels"]["19"]["colour"], "#cc3311");
}

TEST(ReportData, TellsTheNetworksOwnClass19FromWhatWasConfirmed) {
  StoredFrame frame = Frame({{{0, 0, 1, 1}, 0.9F, 19}, {{0, 0, 1, 1}, 0.9F, 19}});
  frame.label_names = {{19, "cow"}};
  frame.confirmed = {false, true};
  const StoredFrame other = Frame({{{0, 0, 1, 1}, 0.9F, 67}});
  const ordered_json data = DataOf(ResultsOf({frame, other}));
  EXPECT_EQ(data["frames"][0]["labels"].dump(), "[19,68]");
  EXPECT_EQ(data["labels"]["19"].dump(), R"({"name":"cow","colour":"#56b4e9"})");
  EXPECT_EQ(data["labels"]["68"].dump(), R"({"name":"faeces","colour":"#cc3311","mask":19})");
  EXPECT_EQ(data["has_classifier"], true);
}

TEST(ReportData, CallsConfirmedOnesFaecesWhereNoneIsTheNetworksOwn) {
  StoredFrame frame = Frame({{{0, 0, 1, 1}, 0.9F, 19}});
  frame.label_names = {{19, "cow"}};
  frame.confirmed = {true};
  EXPECT_EQ(DataOf(ResultsOf({frame}))["labels"].dump(),
            R"({"19":{"name":"faeces","colour":"#cc3311"}})");
  frame.confirmed = {false};
  EXPECT_EQ(DataOf(ResultsOf({frame}))["labels"].dump(),
            R"({"19":{"name":"cow","colour":"#56b4e9"}})");
}

// The classes of a line are any whole numbers.
TEST(ReportData, HasAnIdForConfirmedOnesAboveTheGreatestClass) {
  StoredFrame frame = Frame({{{0, 0, 1, 1}, 0.9F, 19},
                             {{0, 0, 1, 1}, 0.9F, 19},
                             {{0, 0, 1, 1}, 0.9F, std::numeric_limits<int>::max()}});
  frame.confirmed = {false, true, false};
  EXPECT_EQ(DataOf(ResultsOf({frame}))["frames"][0]["labels"].dump(), "[19,2147483648,2147483647]");
}

// ---- Times --------------------------------------------------------------------------------------

TEST(ReportData, PutsStagesInTheOrderOfAFramesWay) {
  StoredFrame frame = Frame();
  frame.timing_ms = {
      {"annotate", 1.0}, {"convert", 4.0}, {"read", 2.0}, {"inference", 3.0}, {"classify", 5.0}};
  const ordered_json data = DataOf(ResultsOf({Frame(), frame}));
  EXPECT_EQ(data["stages"].dump(), R"(["read","inference","classify","convert","annotate"])");
  EXPECT_EQ(data["frames"][0]["times"].dump(), "[null,null,null,null,null]");
  EXPECT_EQ(data["frames"][1]["times"].dump(), "[2.0,3.0,5.0,4.0,1.0]");
}

// As the run's own summary does.
TEST(ReportData, LeavesOutTheTimesOfFramesThatFailed) {
  StoredFrame frame = Frame();
  frame.timing_ms["total"] = 5.0;
  StoredFrame failed = FailedFrame("");
  failed.timing_ms["total"] = 100.0;
  const ordered_json data = DataOf(ResultsOf({failed, frame}));
  EXPECT_EQ(data["timing"]["total"]["worst"], 5.0);
  EXPECT_EQ(data["timing"]["total"]["worst_frame"], 1);
  EXPECT_EQ(data["frames"][0]["times"].dump(), "[null]");
}

TEST(ReportData, TellsTheTailOfAStageAndItsWorstFrame) {
  std::vector<StoredFrame> frames(101, Frame());
  for (std::size_t i = 1; i < frames.size(); ++i) {
    frames[i].timing_ms["total"] = static_cast<double>(i * 37 % 101);
  }
  const ordered_json timing = DataOf(ResultsOf(frames))["timing"]["total"];
  EXPECT_EQ(timing.dump(), R"({"mean":50.5,"p50":50.0,"p95":95.0,"p99":99.0,"worst":100.0,)"
                           R"("worst_frame":30})");
}

// ---- Notes --------------------------------------------------------------------------------------

TEST(ReportData, HasNothingToNoteOfARunThatWentWell) {
  EXPECT_EQ(NotesOf(DataOf(ResultsOf({Frame()}))), "");
}

TEST(ReportData, NotesWhatIsMissing) {
  EXPECT_THAT(NotesOf(DataOf(ResultsOf({}))), HasSubstr("! The results have no frame."));
  EXPECT_THAT(NotesOf(DataOf(ResultsOf({Frame()}), std::nullopt)),
              HasSubstr("summary.json is missing or incomplete"));
}

TEST(ReportData, NotesALastLineThatEndsInTheMiddle) {
  Results results = ResultsOf({Frame()});
  results.ends_unfinished = true;
  EXPECT_EQ(NotesOf(DataOf(results)),
            "! The last line of the results ends in the middle, as a run that is killed leaves it. "
            "Its frame is left out.\n");
}

TEST(ReportData, NotesAnInterruptedRun) {
  RunFacts facts;
  facts.interrupted = true;
  EXPECT_EQ(NotesOf(DataOf(ResultsOf({Frame(), Frame()}), facts)),
            "! The run was interrupted. This is what it had done by then: 2 frames.\n");
}

TEST(ReportData, NotesARunThatIsNotAtItsEnd) {
  RunFacts facts;
  facts.complete = false;
  EXPECT_EQ(NotesOf(DataOf(ResultsOf({Frame()}), facts)),
            "! The run was killed, or is not at its end yet. This is what it had done by then: "
            "1 frame; 'dirty_seg detect --resume' goes on with it.\n");
  facts.write_error = "the disk is full";
  EXPECT_EQ(NotesOf(DataOf(ResultsOf({Frame()}), facts)),
            "! The run ended early, or without all its files: the disk is full.\n");
}

TEST(ReportData, NotesFailedFramesAndInputs) {
  RunFacts facts;
  facts.inputs = 9;
  facts.failed_inputs = 1;
  const Results results = ResultsOf({Frame(), FailedFrame("too dark")});
  EXPECT_EQ(NotesOf(DataOf(results, facts)),
            "! 1 frame of 2 failed; they are listed under 'Failed'.\n");
  facts.failed_inputs = 3;
  EXPECT_THAT(NotesOf(DataOf(results, facts)), HasSubstr("! 3 inputs of 9 failed."));
  facts.failures = {{results.frames[1].source, "is named already"},
                    {"x.avi", "is too large"},
                    {"x.avi", "is too large"}};  // in two frames
  for (int i = 1; i <= 19; ++i) {
    facts.failures.emplace_back("y" + std::to_string(i) + ".png", "is empty");
  }
  EXPECT_THAT(NotesOf(DataOf(results, facts)),
              HasSubstr(" left nothing in the results: 'x.avi' (is too large); 'y1.png' (is "
                        "empty); 'y2.png'"));
  EXPECT_THAT(NotesOf(DataOf(results, facts)), testing::EndsWith("'y19.png' (is empty).\n"));
  facts.failures.emplace_back("z.png", "is missing");
  EXPECT_THAT(NotesOf(DataOf(results, facts)),
              testing::EndsWith("; and 1 more, in summary.json.\n"));
}

TEST(ReportData, NotesFramesWhoseNumbersWereNotFinite) {
  StoredFrame broken = Frame();
  broken.non_finite = {{"output0", 3}};
  const ordered_json data = DataOf(ResultsOf({Frame(), broken, broken}));
  EXPECT_EQ(
      NotesOf(data),
      "! In 2 frames of 3 the network gave numbers that are not finite. They are left out, so "
      "dirt may be missed there: finding nothing does not mean a clean floor.\n");
  EXPECT_FALSE(data["frames"][0].contains("non_finite"));
  EXPECT_EQ(data["frames"][1]["non_finite"].dump(), R"({"output0":3})");
}

TEST(ReportData, NotesHowManyPicturesWereLeftOut) {
  const Results results = ResultsOf({Frame(), Frame(), FailedFrame(""), Frame()});
  EXPECT_THAT(NotesOf(ReportData(results, RunFacts()).ToJson(2)),
              HasSubstr("pictures and masks of 2 frames of 3, evenly spread"));
}

// ---- The run's summary --------------------------------------------------------------------------

TEST(ReadRunFacts, TakesWhatSummaryTells) {
  const test::TemporaryFolder folder;
  EXPECT_FALSE(ReadRunFacts(folder.path()).has_value());
  folder.Write("summary.json",
               R"({"schema_version": 1, "program": "dirty_seg 1.0.0", "model": "nets/seg.onnx",
                   "config": "c.yaml", "inputs": 5, "failed": 2, "interrupted": true})");
  const std::optional<RunFacts> facts = ReadRunFacts(folder.path());
  ASSERT_TRUE(facts.has_value());
  EXPECT_TRUE(facts->interrupted);
  EXPECT_EQ(facts->inputs, 5U);
  EXPECT_EQ(facts->failed_inputs, 2U);
  EXPECT_EQ(facts->fece_model, "");
  EXPECT_EQ(DataOf(ResultsOf({Frame()}), facts)["facts"].dump(),
            R"(["network seg.onnx","configuration c.yaml","found by dirty_seg 1.0.0"])");
}

TEST(ReadRunFacts, NamesASummaryThatIsNoneAndDoesWithoutIt) {
  const test::TemporaryFolder folder;
  for (const char* text : {"", "{", "[1]", R"({"interrupted": "yes"})"}) {
    folder.Write("summary.json", text);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ReadRunFacts(folder.path()).has_value()) << text;
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("dirty_seg: warning: '" + (folder / "summary.json") +
                          "' is not a summary that 'dirty_seg detect' wrote, and is left out: "));
  }
}

}  // namespace
}  // namespace dirty_seg
