// What many frames come to.
#include "results/summary.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace dirty_seg {
namespace {

const Labels kLabels({{0, "spill"}, {3, "solid waste"}}, true);

const nlohmann::ordered_json kOptions{{"fit", "pad"}, {"merge", true}};
const std::map<std::string, std::string> kChecksums{{"model", "00ff"}};

FrameRecord MakeRecord(const std::vector<int>& labels, double inference_ms) {
  FrameRecord record;
  record.outcome.result.labels = labels;
  record.outcome.stages.inference = inference_ms;
  return record;
}

Summary MakeSummary() {
  return Summary({"dirty_seg 9.8.7", "seg.onnx", "config.yaml", "", {}, kOptions, kChecksums});
}

TEST(Summary, HasItsKeysInOrder) {
  Summary summary(
      {"dirty_seg 9.8.7", "seg.onnx", "config.yaml", "fece.onnx", {}, kOptions, kChecksums});
  FrameRecord record = MakeRecord({3, 19, 3}, 2.0);
  record.read_ms = 1.0;
  record.outcome.total_ms = 4.0;
  record.write_ms = 8.0004;
  summary.AddFrame(record);
  summary.AddInput(false);
  summary.AddInput(true);
  summary.AddFailure({"a.png", {}, "is cut short"});
  summary.AddFailure({"b\xff.mp4", 7, "PreProcess error"});
  RunEnd end;
  end.interrupted = true;
  end.write_error = "full";
  end.inputs = 5;
  const auto same = [](const char* number) {
    const std::string n = number;
    return "{\"mean\":" + n + ",\"p50\":" + n + ",\"p95\":" + n + ",\"p99\":" + n +
           ",\"worst\":" + n + "}";
  };
  EXPECT_EQ(summary.ToJson(kLabels, end)
                .dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace),
            "{\"schema_version\":1,\"program\":\"dirty_seg 9.8.7\",\"model\":\"seg.onnx\","
            "\"config\":\"config.yaml\",\"fece_model\":\"fece.onnx\","
            "\"checksums\":{\"model\":\"00ff\"},\"options\":{\"fit\":\"pad\",\"merge\":true},"
            "\"thresholds\":{\"score_threshold\":0.25,\"iou_threshold\":0.7,"
            "\"max_detections\":300,\"class_agnostic\":false,\"mask_threshold\":0.5,\"score_"
            "thresholds\":{}},\"inputs\":2,"
            "\"inputs_total\":5,\"frames\":1,\"failed\":1,\"failures\":["
            "{\"source\":\"a.png\",\"cause\":\"is cut short\"},"
            "{\"source\":\"b\\ufffd.mp4\",\"source_bytes\":\"Yv8ubXA0\",\"frame\":7,"
            "\"cause\":\"PreProcess error\"}],\"non_finite_frames\":0,\"interrupted\":true,"
            "\"complete\":false,"
            "\"write_error\":\"full\",\"detections\":{\"3\":2,\"19\":1},"
            "\"label_names\":{\"3\":\"solid waste\",\"19\":\"faeces\"},"
            "\"timing_ms\":{\"read\":" +
                same("1.0") + ",\"inference\":" + same("2.0") + ",\"total\":" + same("4.0") +
                ",\"write\":" + same("8.0") + "}}");
}

TEST(Summary, CountsWhatWasConfirmedBesideItsLabel) {
  Summary summary(
      {"dirty_seg 9.8.7", "seg.onnx", "config.yaml", "fece.onnx", {}, kOptions, kChecksums});
  EXPECT_EQ(summary.ToJson(kLabels, {})["confirmed_faeces"], 0);
  FrameRecord record = MakeRecord({19, 19, 3}, 2.0);
  record.outcome.fece_candidates = {{1, FeceVerdict::kConfirmed, 0.75F},
                                    {2, FeceVerdict::kRejected, 0.25F}};
  summary.AddFrame(record);
  const auto json = summary.ToJson(kLabels, {});
  EXPECT_EQ(json["detections"].dump(), R"({"3":1,"19":2})");
  EXPECT_EQ(json["confirmed_faeces"], 1);
  record.outcome.fece_candidates.reset();  // not reported of this frame
  summary.AddFrame(record);
  EXPECT_FALSE(summary.ToJson(kLabels, {}).contains("confirmed_faeces"));
}

TEST(Summary, OfNothingHasNoTimes) {
  const auto json = MakeSummary().ToJson(kLabels, {});
  EXPECT_FALSE(json.contains("fece_model"));
  EXPECT_FALSE(json.contains("confirmed_faeces"));
  EXPECT_EQ(json["inputs"], 0);
  EXPECT_FALSE(json.contains("inputs_total"));
  EXPECT_FALSE(json.contains("write_error"));
  EXPECT_EQ(json["failures"].dump(), "[]");
  EXPECT_EQ(json["detections"].dump(), "{}");
  EXPECT_EQ(json["timing_ms"].dump(), "{}");
}

TEST(Summary, CountsFramesWithNumbersThatAreNotFinite) {
  Summary summary = MakeSummary();
  FrameRecord record = MakeRecord({}, 2.0);
  summary.AddFrame(record);
  record.outcome.non_finite = {{"output0", 6}, {"output1", 7}};
  summary.AddFrame(record);
  record.outcome.result.success = false;
  summary.AddFrame(record);
  EXPECT_EQ(summary.non_finite_frames(), 2U);
  EXPECT_EQ(summary.ToJson(kLabels, {})["non_finite_frames"], 2);
}

// Of 1, 2, ..., 200: the 100th, 190th, 198th and 200th; the mean is 100.5.
TEST(Summary, TellsTheTailOfTheTimes) {
  Summary summary = MakeSummary();
  for (int i = 200; i > 0; --i) summary.AddFrame(MakeRecord({}, i));
  EXPECT_EQ(summary.ToJson(kLabels, {})["timing_ms"]["inference"].dump(),
            "{\"mean\":100.5,\"p50\":100.0,\"p95\":190.0,\"p99\":198.0,\"worst\":200.0}");
}

TEST(Summary, TellsTheClassifiersTimeWhereThereIsOne) {
  Summary summary = MakeSummary();
  FrameRecord record = MakeRecord({}, 2.0);
  summary.AddFrame(record);
  EXPECT_FALSE(summary.ToJson(kLabels, {})["timing_ms"].contains("classify"));
  record.outcome.stages.classify = 3.0;
  summary.AddFrame(record);
  EXPECT_EQ(summary.ToJson(kLabels, {})["timing_ms"]["classify"]["mean"], 3.0);
}

TEST(Summary, CountsAFrameThatFailedButNotItsTimes) {
  Summary summary = MakeSummary();
  FrameRecord record = MakeRecord({}, 1000.0);
  record.outcome.result.success = false;
  summary.AddFrame(record);
  summary.AddFrame(MakeRecord({0}, 3.0));
  EXPECT_EQ(summary.frames(), 2U);
  EXPECT_EQ(summary.TimesOf("inference").worst, 3.0);
  EXPECT_EQ(summary.TimesOf("convert").mean, 0.0);
}

}  // namespace
}  // namespace dirty_seg
