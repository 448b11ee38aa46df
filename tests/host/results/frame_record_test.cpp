// One frame's JSON line: keys, order, numbers.
#include "results/frame_record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

namespace dirty_seg {
namespace {

// Two detections, the second confirmed as faeces; one has a mask of a 3 x 2 corner.
FrameRecord MakeRecord() {
  FrameRecord record;
  record.source = "pictures/street.png";
  record.fit = {{640, 480}, {1440, 1080}, 2.25};
  record.outcome.result.message = "success";
  record.outcome.result.bboxes = {{1.5F, 2.0F, 3.0F, 4.0F}, {0.1F, 0.2F, 640.0F, 480.25F}};
  record.outcome.result.scores = {0.5F, 0.7F};
  record.outcome.result.labels = {3, 19};
  record.outcome.result.mask_pixel_counts = {6.0F};
  cv::Mat& mask = record.outcome.result.label_masks[19];
  mask = cv::Mat::zeros(1080, 1920, CV_8UC1);
  mask(cv::Rect(0, 0, 3, 2)).setTo(255);
  record.masks = DescribeMasks(record.outcome.result);
  record.outcome.stages = {12.0, 3.0, std::nullopt, 1.5};
  record.outcome.total_ms = 20.25;
  record.read_ms = 7.1234567;
  record.write_ms = 2.0;
  return record;
}

const Labels kLabels({{0, "spill"}, {3, "solid waste"}, {19, "cow"}}, true);

TEST(FrameRecord, HasItsKeysInOrder) {
  FrameRecord record = MakeRecord();
  record.masks.at(19).file = "street.mask_19.png";
  record.overlay = "street.overlay.jpg";
  // The mask's columns: 0 zeros, 2 ones, 1078 zeros, 2, 1078, 2, and the other 1917 columns with
  // the rest of the third: 1917 * 1080 + 1078 = 2071438 zeros, less 1078 stored as 2070360.
  // 1078 is 1 00001 10110, so "f", "Q", "1"; 2070360 is 1 11111 00101 11010 11000.
  EXPECT_EQ(ToJson(record, kLabels).dump(),
            "{\"schema_version\":1,\"source\":\"pictures/street.png\",\"frame\":0,"
            "\"image_size\":[480,640],\"fit\":{\"scale\":2.25,\"size\":[1080,1440]},"
            "\"success\":true,\"message\":\"success\","
            "\"bboxes\":[[1.5,2.0,3.0,4.0],[0.10000000149011612,0.20000000298023224,640.0,480.25]],"
            "\"scores\":[0.5,0.699999988079071],\"labels\":[3,19],\"mask_pixel_counts\":[6.0],"
            "\"label_masks\":{\"19\":{\"file\":\"street.mask_19.png\",\"pixels\":6,"
            "\"rle\":{\"size\":[1080,1920],\"counts\":\"02fQ1000hjUo1\"}}},"
            "\"label_names\":{\"3\":\"solid waste\",\"19\":\"cow\"},"
            "\"overlay\":\"street.overlay.jpg\",\"timing_ms\":{\"read\":7.123,\"preprocess\":3.75,"
            "\"inference\":12.0,"
            "\"postprocess\":3.0,\"convert\":1.5,\"total\":20.25,\"write\":2.0}}");
}

TEST(FrameRecord, NamesNoMaskFileWhenNoneWasWritten) {
  const auto json = ToJson(MakeRecord(), kLabels);
  EXPECT_FALSE(json["label_masks"]["19"].contains("file"));
  EXPECT_EQ(json["label_masks"]["19"]["pixels"], 6);
}

TEST(FrameRecord, TellsHowManyNumbersWereNotFiniteWhereAnyWere) {
  FrameRecord record = MakeRecord();
  EXPECT_FALSE(ToJson(record, kLabels).contains("non_finite"));
  record.outcome.non_finite = {{"output0", 3}, {"output1", 256}};
  EXPECT_EQ(ToJson(record, kLabels)["non_finite"].dump(), R"({"output0":3,"output1":256})");
}

TEST(FrameRecord, TellsEachCandidatesVerdict) {
  FrameRecord record = MakeRecord();
  record.outcome.result.labels = {3, 19, 3, 3};
  record.outcome.fece_candidates = {{0, FeceVerdict::kRejected, 0.25F},
                                    {1, FeceVerdict::kConfirmed, 0.75F},
                                    {2, FeceVerdict::kNotChecked, {}},
                                    {3, FeceVerdict::kFailed, {}}};
  EXPECT_EQ(ToJson(record, kLabels)["fece_candidates"].dump(),
            "[{\"detection\":0,\"verdict\":\"rejected\",\"score\":0.25},"
            "{\"detection\":1,\"verdict\":\"confirmed\",\"score\":0.75},"
            "{\"detection\":2,\"verdict\":\"not_checked\"},"
            "{\"detection\":3,\"verdict\":\"failed\"}]");
}

// The network has a class 19 of its own, which is the second detection's.
TEST(FrameRecord, TellsOfEachDetectionWhetherItWasConfirmed) {
  FrameRecord record = MakeRecord();
  record.outcome.result.labels = {3, 19, 19};
  EXPECT_FALSE(ToJson(record, kLabels).contains("confirmed"));
  record.outcome.fece_candidates = {{0, FeceVerdict::kRejected, 0.25F},
                                    {2, FeceVerdict::kConfirmed, 0.75F}};
  const auto json = ToJson(record, kLabels);
  EXPECT_EQ(json["labels"].dump(), "[3,19,19]");
  EXPECT_EQ(json["confirmed"].dump(), "[false,false,true]");
  EXPECT_EQ(json["label_names"].dump(), R"({"3":"solid waste","19":"cow"})");
}

TEST(FrameRecord, TellsThatThereWasNoCandidateOnlyWhenThatIsKnown) {
  FrameRecord record = MakeRecord();
  EXPECT_FALSE(ToJson(record, kLabels).contains("fece_candidates"));
  record.outcome.fece_candidates.emplace();
  EXPECT_EQ(ToJson(record, kLabels)["fece_candidates"].dump(), "[]");
}

// Before the network are 20.25 - 12 - 3 - 0.75 - 1.5 = 3.
TEST(FrameRecord, TellsTheClassifiersTimeWhereThereIsOne) {
  FrameRecord record = MakeRecord();
  record.outcome.stages.classify = 0.75;
  EXPECT_EQ(ToJson(record, kLabels)["timing_ms"].dump(),
            "{\"read\":7.123,\"preprocess\":3.0,\"inference\":12.0,\"postprocess\":3.0,"
            "\"classify\":0.75,\"convert\":1.5,\"total\":20.25,\"write\":2.0}");
}

TEST(FrameRecord, LeavesOutTimesThatTheLogDoesNotTell) {
  FrameRecord record = MakeRecord();
  record.outcome.stages.convert.reset();
  EXPECT_EQ(
      ToJson(record, kLabels)["timing_ms"].dump(),
      "{\"read\":7.123,\"inference\":12.0,\"postprocess\":3.0,\"total\":20.25,\"write\":2.0}");
}

TEST(FrameRecord, TellsAFailureWithTheSameKeys) {
  FrameRecord record;
  record.source = "small.png";
  record.outcome.result.success = false;
  record.outcome.result.message = "PreProcess error";
  const auto json = ToJson(record, kLabels);
  EXPECT_EQ(json["success"], false);
  EXPECT_EQ(json["message"], "PreProcess error");
  EXPECT_EQ(json["bboxes"].dump(), "[]");
  EXPECT_EQ(json["label_masks"].dump(), "{}");
  EXPECT_EQ(json["label_names"].dump(), "{}");
  EXPECT_EQ(json.size(), 14U);
}

TEST(FrameRecord, NamesOnlyWhatIsThereAndHasAName) {
  FrameRecord record;
  record.outcome.result.labels = {7, 0, 0};
  EXPECT_EQ(ToJson(record, kLabels)["label_names"].dump(), "{\"0\":\"spill\"}");
}

TEST(FrameRecord, NumbersReadBackToTheBit) {
  FrameRecord record;
  const std::vector<float> values{0.1F,
                                  1.0F / 3.0F,
                                  1919.9999F,
                                  -0.0F,
                                  std::nextafter(1.0F, 2.0F),
                                  std::numeric_limits<float>::min()};
  record.outcome.result.bboxes = {values};
  const auto json = nlohmann::json::parse(ToJson(record, kLabels).dump());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto read = json["bboxes"][0][i].get<float>();
    EXPECT_EQ(read, values[i]);
    EXPECT_EQ(std::signbit(read), std::signbit(values[i]));
  }
}

TEST(PreprocessTime, IsNeverNegative) {
  // The log's clock can be set while a frame runs.
  FrameOutcome outcome;
  outcome.stages = {10.0, 10.0, std::nullopt, 10.0};
  outcome.total_ms = 29.0;
  EXPECT_EQ(PreprocessTime(outcome), 0.0);
}

TEST(Labels, WithoutAClassifierKeepTheNetworksName) {
  const Labels labels({{19, "cow"}}, false);
  EXPECT_EQ(labels.Text({19, false}), "cow");
  EXPECT_FALSE(labels.IsConfirmedFaeces(19));
  EXPECT_TRUE(kLabels.IsConfirmedFaeces(19));
  EXPECT_FALSE(kLabels.IsConfirmedFaeces(3));
}

TEST(Labels, NameAConfirmedOneFaecesAndANativeOneByTheNetwork) {
  EXPECT_EQ(kLabels.Text({19, false}), "cow");
  EXPECT_EQ(kLabels.Text({19, true}), "faeces");
  EXPECT_TRUE(kLabels.share_faeces_label());
  const Labels alone({{0, "spill"}}, true);
  EXPECT_EQ(alone.Text({19, true}), "faeces");
  EXPECT_EQ(*alone.FindName(19), "faeces");
  EXPECT_FALSE(alone.share_faeces_label());
}

TEST(Labels, TellAConfirmedOneFromAClassThatIsCalledFaecesToo) {
  const Labels labels({{19, "faeces"}}, true);
  EXPECT_EQ(labels.Text({19, false}), "faeces");
  EXPECT_EQ(labels.Text({19, true}), "confirmed faeces");
}

TEST(Labels, KnowAClass19WithoutANameByTheNumberOfClasses) {
  const Labels nameless({}, true, 20);
  EXPECT_TRUE(nameless.share_faeces_label());
  EXPECT_EQ(nameless.Text({19, false}), "class 19");
  EXPECT_EQ(nameless.FindName(19), nullptr);
  EXPECT_FALSE(Labels({}, true, 19).share_faeces_label());
  EXPECT_FALSE(Labels({}, false, 20).share_faeces_label());
}

TEST(Labels, HaveAnIdOfTheirOwnForConfirmedOnesWhere19IsTaken) {
  EXPECT_EQ(kLabels.IdOf({19, false}), 19);
  EXPECT_EQ(kLabels.IdOf({19, true}), 20);
  EXPECT_EQ(Labels({{19, "cow"}, {90, "brush"}}, true, 80).IdOf({19, true}), 91);
  EXPECT_EQ(Labels({{19, "cow"}}, true, 80).IdOf({19, true}), 80);
  EXPECT_EQ(Labels({{3, "waste"}}, true, 4).IdOf({19, true}), 19);
}

TEST(KindsOf, TakesEvery19ForConfirmedWhereTheLogDoesNotTell) {
  FrameOutcome outcome;
  outcome.result.labels = {19, 3};
  const std::vector<Kind> confirmed{{19, true}, {3, false}};
  const std::vector<Kind> native{{19, false}, {3, false}};
  EXPECT_TRUE(KindsOf(outcome, kLabels) == confirmed);
  EXPECT_TRUE(KindsOf(outcome, Labels({{19, "cow"}}, false)) == native);
  outcome.fece_candidates.emplace();
  EXPECT_TRUE(KindsOf(outcome, kLabels) == native);
}

TEST(Labels, WithoutANameShowTheirNumber) {
  EXPECT_EQ(kLabels.Text({7, false}), "class 7");
  EXPECT_EQ(kLabels.FindName(7), nullptr);
}

}  // namespace
}  // namespace dirty_seg
