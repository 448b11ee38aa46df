// Results read back, and what is said of files that are none.
#include "results/results_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "files/json_text.h"
#include "results/frame_record.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kMinimalLine =
    R"({"source": "a.png", "bboxes": [], "scores": [], "labels": []})";

class ReadResultsTest : public testing::Test {
 protected:
  Results ReadText(const std::string& text) const {
    return ReadResults(folder_.Write("some.jsonl", text));
  }

  // What follows file and line in the refusal of a line.
  std::string RefusalOf(const std::string& line) const {
    const std::string message = test::RejectionOf<SetupError>([&] { ReadText(line); });
    const std::string place = "'" + folder_ / "some.jsonl" + "' line 1: ";
    EXPECT_EQ(message.rfind(place, 0), 0U) << message;
    return message.substr(std::min(place.size(), message.size()));
  }

  // Likewise, of a line that has all that it must have and `more`.
  std::string RefusalOfKey(const std::string& more) const {
    return RefusalOf(
        R"({"source": "a.png", "bboxes": [[0, 0, 2, 2]], "scores": [1], "labels": [0],)"
        " " +
        more + "}");
  }

  test::TemporaryFolder folder_;
};

TEST_F(ReadResultsTest, GivesBackANameThatIsNoUtf8) {
  FrameRecord record;
  record.source = "pictures/caf\xe9.png";
  record.fit = FitToFrame({1920, 1080}, FitMode::kScale);
  const std::string line = ToText(ToJson(record, Labels({}, false)));
  EXPECT_NE(line.find("caf\xef\xbf\xbd.png"), std::string::npos);
  EXPECT_EQ(ReadText(line).frames.at(0).source, record.source);
}

TEST_F(ReadResultsTest, RefusesBytesThatAreNoBase64) {
  EXPECT_EQ(RefusalOfKey(R"("source_bytes": "Zg")"), "source_bytes is \"Zg\"; expected Base64");
  EXPECT_EQ(RefusalOfKey(R"("source_bytes": 7)"), "source_bytes is 7; expected a string");
}

TEST_F(ReadResultsTest, GivesBackWhatARecordHeld) {
  FrameRecord record;
  record.source = "pictures/street.png";
  record.frame = 12;
  record.outcome.result.message = "success";
  record.outcome.result.bboxes = {{1.5F, 2.0F, 3.0F, 4.0F}, {0.1F, 0.2F, 640.0F, 480.25F}};
  record.outcome.result.scores = {0.1F, 0.7F};
  record.outcome.result.labels = {3, 19};
  record.outcome.result.mask_pixel_counts = {6.0F};
  cv::Mat& mask = record.outcome.result.label_masks[19];
  mask = cv::Mat::zeros(1080, 1920, CV_8UC1);
  mask(cv::Rect(7, 5, 3, 2)).setTo(255);
  record.masks = DescribeMasks(record.outcome.result);
  record.masks.at(19).file = "street.mask_19.png";
  record.outcome.stages = {12.0, 3.0, 0.25, 1.5};
  record.outcome.total_ms = 20.25;
  record.fit = {{640, 480}, {1440, 1080}, 2.25};
  record.outcome.non_finite = {{"output0", 3}, {"output1", 256}};
  const Labels labels({{3, "solid waste"}}, true);

  const Results results = ReadText(ToJson(record, labels).dump() + "\n");
  EXPECT_EQ(results.file, folder_ / "some.jsonl");
  EXPECT_EQ(results.folder, folder_.path());
  ASSERT_EQ(results.frames.size(), 1U);
  const StoredFrame& frame = results.frames[0];
  EXPECT_EQ(frame.source, record.source);
  EXPECT_EQ(frame.frame, 12);
  EXPECT_TRUE(frame.success);
  EXPECT_EQ(frame.message, "success");
  ASSERT_EQ(frame.detections.size(), 2U);
  EXPECT_THAT(frame.detections[1].box, ElementsAre(0.1F, 0.2F, 640.0F, 480.25F));
  EXPECT_EQ(frame.detections[0].score, 0.1F);
  EXPECT_EQ(frame.detections[1].label, 19);
  EXPECT_THAT(frame.mask_pixel_counts, ElementsAre(6.0F));
  EXPECT_EQ(frame.masks.at(19).file, "street.mask_19.png");
  EXPECT_EQ(frame.masks.at(19).pixels, 6);
  const cv::Mat decoded = DecodeMask(frame, 19);
  ASSERT_EQ(decoded.size(), mask.size());
  EXPECT_EQ(cv::countNonZero(decoded != mask), 0);
  EXPECT_EQ(frame.label_names.at(3), "solid waste");
  EXPECT_EQ(frame.label_names.at(19), "faeces");
  EXPECT_EQ(frame.timing_ms.at("inference"), 12.0);
  EXPECT_EQ(frame.timing_ms.at("classify"), 0.25);
  EXPECT_EQ(frame.timing_ms.at("total"), 20.25);
  EXPECT_EQ(frame.image_size, cv::Size(640, 480));
  ASSERT_TRUE(frame.fit);
  EXPECT_EQ(frame.fit->picture, cv::Size(640, 480));
  EXPECT_EQ(frame.fit->placed, cv::Size(1440, 1080));
  EXPECT_EQ(frame.fit->scale, 2.25);
  EXPECT_THAT(frame.candidates, IsEmpty());
  EXPECT_THAT(frame.confirmed, IsEmpty());
  EXPECT_EQ(frame.non_finite, record.outcome.non_finite);
}

TEST_F(ReadResultsTest, TakesTheLinesOfAFolder) {
  folder_.Write("results.jsonl", std::string(kMinimalLine) + "\n\n" + kMinimalLine + "\r\n");
  const Results results = ReadResults(folder_.path());
  EXPECT_EQ(results.file, folder_ / "results.jsonl");
  ASSERT_EQ(results.frames.size(), 2U);
  EXPECT_EQ(results.frames[1].line, 3U);
}

TEST_F(ReadResultsTest, TakesWhatWasConfirmedFromTheVerdictsWhereNothingElseTells) {
  const StoredFrame frame =
      ReadText(R"({"source": "a.png", "bboxes": [[0, 0, 2, 2], [4, 4, 6, 6]], "scores": [1, 1], )"
               R"("labels": [19, 19], "fece_candidates": [{"detection": 1, "verdict": )"
               R"("confirmed"}]})")
          .frames.at(0);
  EXPECT_THAT(frame.confirmed, ElementsAre(false, true));
}

TEST_F(ReadResultsTest, NeedsNoMoreThanSourceAndDetections) {
  const StoredFrame frame = ReadText(kMinimalLine).frames.at(0);
  EXPECT_EQ(frame.source, "a.png");
  EXPECT_EQ(frame.frame, 0);
  EXPECT_TRUE(frame.success);
  EXPECT_THAT(frame.detections, IsEmpty());
  EXPECT_THAT(frame.masks, IsEmpty());
}

TEST_F(ReadResultsTest, ReadsCandidatesSizeAndOverlay) {
  const Results results =
      ReadText(R"({"schema_version": 1, "source": "a.png", "success": false, "message": "no", )"
               R"("bboxes": [[0, 0, 2, 2], [4, 4, 6, 6]], "scores": [1, 0.5], "labels": [0, 19], )"
               R"("confirmed": [false, true], )"
               R"("fece_candidates": [{"detection": 1, "verdict": "confirmed", "score": 0.75}, )"
               R"({"detection": 0, "verdict": "not_checked"}], "image_size": [1080, 1920], )"
               R"("overlay": "a.overlay.jpg", "something_new": {"x": [1]}})");
  ASSERT_EQ(results.frames.size(), 1U);
  const StoredFrame& frame = results.frames[0];
  EXPECT_FALSE(frame.success);
  EXPECT_EQ(frame.message, "no");
  ASSERT_EQ(frame.candidates.size(), 2U);
  EXPECT_EQ(frame.candidates[0].detection, 1U);
  EXPECT_EQ(frame.candidates[0].verdict, "confirmed");
  EXPECT_EQ(frame.candidates[0].score, 0.75);
  EXPECT_THAT(frame.confirmed, ElementsAre(false, true));
  EXPECT_EQ(frame.candidates[1].verdict, "not_checked");
  EXPECT_FALSE(frame.candidates[1].score);
  EXPECT_EQ(frame.image_size, cv::Size(1920, 1080));
  EXPECT_EQ(frame.overlay, "a.overlay.jpg");
}

TEST_F(ReadResultsTest, SaysWhichFileIsMissing) {
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { ReadResults(folder_ / "gone.jsonl"); }),
            "'" + folder_ / "gone.jsonl" + "': cannot be opened: No such file or directory");
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { ReadResults(folder_.path()); }),
            "'" + folder_.path() +
                "': the folder has no results.jsonl; expected one that 'dirty_seg detect "
                "--output' wrote");
}

TEST_F(ReadResultsTest, RefusesALineThatIsNoObject) {
  EXPECT_EQ(RefusalOf("{\"source\": \n"),
            "is not valid JSON near character 12; expected one object per line");
  EXPECT_EQ(RefusalOf("\xff\xd8\xff"),
            "is not valid JSON near character 1; expected one object per line");
  EXPECT_EQ(RefusalOf("[1, 2]"), "is [1,2]; expected one object per line");
  EXPECT_EQ(RefusalOf("[1e999]"), "has a number that is too large");
  EXPECT_EQ(RefusalOf(std::string(100000, '[')), "has more than 16 levels");
}

TEST_F(ReadResultsTest, LeavesOutALastLineThatEndsInTheMiddle) {
  const std::string whole = std::string(kMinimalLine) + "\n";
  for (const std::string& rest : {std::string("{\"source\": \"b.p"), std::string("{"),
                                  std::string(4096, '\0'), "{\"sou" + std::string(9, '\0')}) {
    testing::internal::CaptureStderr();
    const Results results = ReadText(whole + rest);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "dirty_seg: warning: '" + folder_ / "some.jsonl" +
                  "' line 2: ends in the middle, as a run that is killed leaves it, and is left "
                  "out\n");
    EXPECT_EQ(results.frames.size(), 1U);
    EXPECT_TRUE(results.ends_unfinished);
  }
  EXPECT_EQ(ReadText(whole + kMinimalLine).frames.size(), 2U);
  EXPECT_FALSE(ReadText(whole + kMinimalLine).ends_unfinished);
}

TEST_F(ReadResultsTest, CountsLinesInItsMessages) {
  EXPECT_EQ(
      test::RejectionOf<SetupError>([&] { ReadText(std::string(kMinimalLine) + "\n\n{}\n"); }),
      "'" + folder_ / "some.jsonl" + "' line 3: source is missing");
}

TEST_F(ReadResultsTest, TakesNullForAScoreThatIsNoNumber) {
  const Results results =
      ReadText(R"({"source": "a", "bboxes": [[0, 1, 2, 3], [0, 1, 2, 3]], "scores": [null, 0.5],)"
               R"( "labels": [0, 0], "fece_candidates": [)"
               R"({"detection": 0, "verdict": "failed", "score": null}]})");
  EXPECT_TRUE(std::isnan(results.frames[0].detections[0].score));
  EXPECT_EQ(results.frames[0].detections[1].score, 0.5F);
  EXPECT_FALSE(results.frames[0].candidates[0].score);
}

TEST_F(ReadResultsTest, RefusesWhatIsMissing) {
  EXPECT_EQ(RefusalOf("{}"), "source is missing");
  EXPECT_EQ(RefusalOf(R"({"source": "a"})"), "bboxes is missing");
  EXPECT_EQ(RefusalOf(R"({"source": "a", "bboxes": [], "scores": [1], "labels": [0, 0]})"),
            "0 bboxes, 1 scores and 2 labels; expected as many of each");
  EXPECT_EQ(RefusalOfKey(R"("label_masks": {"3": {"pixels": 1}})"), "label_masks.3.rle is missing");
  EXPECT_EQ(RefusalOfKey(R"("fece_candidates": [{"detection": 0}])"),
            "fece_candidates[0].verdict is missing");
}

TEST_F(ReadResultsTest, RefusesValuesOfTheWrongKind) {
  EXPECT_EQ(RefusalOf(R"({"source": 7})"), "source is 7; expected a string");
  EXPECT_EQ(
      RefusalOf(R"({"source": "a", "bboxes": [[0, 1, null, 2]], "scores": [1], "labels": [0]})"),
      "bboxes[0][2] is null; expected a number");
  EXPECT_EQ(RefusalOf(R"({"source": "a", "bboxes": [[0, 1, 2]], "scores": [1], "labels": [0]})"),
            "bboxes[0] is [0,1,2]; expected [x1, y1, x2, y2]");
  EXPECT_EQ(
      RefusalOf(R"({"source": "a", "bboxes": [[0, 1, 2, 3]], "scores": [1e39], "labels": [0]})"),
      "scores[0] is 1e+39; expected a number that 32 bits hold");
  EXPECT_EQ(
      RefusalOf(R"({"source": "a", "bboxes": [[0, 1, 2, 3]], "scores": [1], "labels": [0.5]})"),
      "labels[0] is 0.5; expected a class id");
  EXPECT_EQ(RefusalOfKey(R"("confirmed": [19])"), "confirmed[0] is 19; expected true or false");
  EXPECT_EQ(RefusalOfKey(R"("confirmed": [])"),
            "confirmed has 0 entries and labels 1; expected as many of each");
  EXPECT_EQ(RefusalOfKey(R"("success": "yes")"), "success is \"yes\"; expected true or false");
  EXPECT_EQ(RefusalOfKey(R"("frame": -1)"), "frame is -1; expected a whole number from 0");
  EXPECT_EQ(RefusalOfKey(R"("frame": 18446744073709551615)"),
            "frame is 18446744073709551615; expected a whole number from 0");
  EXPECT_EQ(RefusalOfKey(R"("timing_ms": {"total": "long"})"),
            "timing_ms.total is \"long\"; expected a number");
  EXPECT_EQ(RefusalOfKey(R"("label_names": {"three": "x"})"),
            "a key of label_names is \"three\"; expected a class id");
  EXPECT_EQ(RefusalOfKey(R"("label_masks": [])"), "label_masks is []; expected an object");
}

TEST_F(ReadResultsTest, RefusesCandidatesThatAreNone) {
  EXPECT_EQ(RefusalOfKey(R"("fece_candidates": [{"detection": 1, "verdict": "failed"}])"),
            "fece_candidates[0].detection is 1; expected the index of one of bboxes");
  EXPECT_EQ(RefusalOfKey(R"("fece_candidates": [{"detection": 0, "verdict": "perhaps"}])"),
            "fece_candidates[0].verdict is \"perhaps\"; expected confirmed, rejected, not_checked "
            "or failed");
}

// 1 pixel of 4, the last.
constexpr const char* kThing = R"({"bbox": [0, 1, 2, 3], "score": 0.5, "label": 3, "members": [0],)"
                               R"( "rle": {"size": [2, 2], "counts": "31"}, "confirmed": true})";

TEST_F(ReadResultsTest, ReadsThings) {
  const Results results =
      ReadText(R"({"source": "a.png", "bboxes": [[0, 0, 2, 2]], "scores": [1], "labels": [0],)"
               R"( "things": [)" +
               std::string(kThing) + "]}");
  const StoredFrame& frame = results.frames.at(0);
  ASSERT_TRUE(frame.things);
  const StoredThing& thing = frame.things->at(0);
  EXPECT_THAT(thing.detection.box, ElementsAre(0.0F, 1.0F, 2.0F, 3.0F));
  EXPECT_EQ(thing.detection.score, 0.5F);
  EXPECT_EQ(thing.detection.label, 3);
  EXPECT_EQ(thing.is_confirmed, true);
  EXPECT_THAT(thing.members, ElementsAre(0U));
  EXPECT_EQ(DecodeThing(frame, 0).at<std::uint8_t>(1, 1), 255);
}

TEST_F(ReadResultsTest, RefusesThingsThatAreNone) {
  const auto refusal_of = [this](const std::string& from, const std::string& to) {
    std::string thing = kThing;
    return RefusalOfKey("\"things\": [" + thing.replace(thing.find(from), from.size(), to) + "]");
  };
  EXPECT_EQ(RefusalOfKey("\"things\": 3"), "things is 3; expected a list");
  EXPECT_EQ(RefusalOfKey("\"things\": [3]"), "things[0] is 3; expected an object");
  EXPECT_EQ(refusal_of("\"bbox\"", "\"box\""), "things[0].bbox is missing");
  EXPECT_EQ(refusal_of("[0, 1, 2, 3]", "[0]"), "things[0].bbox is [0]; expected [x1, y1, x2, y2]");
  EXPECT_EQ(refusal_of("3, \"mem", "0.5, \"mem"), "things[0].label is 0.5; expected a class id");
  EXPECT_EQ(refusal_of("[0],", "[1],"),
            "things[0].members[0] is 1; expected the index of one of bboxes");
  EXPECT_EQ(refusal_of("\"counts\": \"31\"", "\"counts\": 3"),
            "things[0].rle.counts is 3; expected a string");
  EXPECT_EQ(refusal_of("true", "1"), "things[0].confirmed is 1; expected true or false");
}

TEST_F(ReadResultsTest, NamesThePlaceOfAThingsRunLengthsThatAreNone) {
  std::string thing = kThing;
  thing.replace(thing.find("31"), 2, "3");
  const Results results = ReadText(
      R"({"source": "a.png", "bboxes": [[0, 0, 2, 2]], "scores": [1], "labels": [0], "things": [)" +
      thing + "]}");
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { DecodeThing(results.frames.at(0), 0); }),
            "'" + results.file +
                "' line 1: things[0].rle: run lengths, character 1: ends 1 pixels early");
}

TEST_F(ReadResultsTest, RefusesAMaskThatWouldTakeAllOfTheMemory) {
  EXPECT_EQ(
      RefusalOfKey(R"("label_masks": {"3": {"rle": {"size": [65536, 65536], "counts": ""}}})"),
      "label_masks.3.rle.size is [65536,65536]; expected [height, width], at most 2^28 "
      "pixels");
}

TEST_F(ReadResultsTest, RefusesALaterVersion) {
  EXPECT_EQ(RefusalOfKey(R"("schema_version": 2)"),
            "schema_version is 2; this program reads up to 1");
}

TEST_F(ReadResultsTest, CutsALongValueInAMessage) {
  EXPECT_EQ(RefusalOfKey("\"frame\": \"" + std::string(1000, 'x') + "\""),
            "frame is \"" + std::string(39, 'x') + "...; expected a whole number from 0");
}

TEST_F(ReadResultsTest, NamesThePlaceOfRunLengthsThatAreNone) {
  const Results results =
      ReadText(R"({"source": "a", "bboxes": [], "scores": [], "labels": [], "label_masks": )"
               R"({"3": {"rle": {"size": [2, 2], "counts": "5"}}}})");
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { DecodeMask(results.frames[0], 3); }),
            "'" + folder_ / "some.jsonl" +
                "' line 1: label_masks.3.rle: run lengths, character 1: a run of 5 pixels where 4 "
                "are left");
}

}  // namespace
}  // namespace dirty_seg
