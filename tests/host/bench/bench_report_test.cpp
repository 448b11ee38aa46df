// Measurements as text and as JSON, and an outcome as what is compared.
#include "bench/bench_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

BenchSide Side(const std::string& model, std::vector<double> totals) {
  BenchSide side;
  side.options.model = model;
  side.options.config = "c.yaml";
  side.times["total"] = std::move(totals);
  return side;
}

// A takes 10, 20, 30, 40 ms: a mean of 25, a median of 20 by nearest rank; B half of that.
struct Measured {
  Measured() {
    plan.rounds = 2;
    plan.warmup = 1;
    result.frames = 2;
    result.sides = {Side("a.onnx", {40, 10, 30, 20}), Side("b.onnx", {5, 10, 15, 20})};
    result.sides[0].times["inference"] = {8, 8, 8, 8};
    result.sides[1].times["inference"] = {2, 2, 2, 6};
    result.sides[0].peak_memory = 3 * 1024 * 1024;
    result.sides[1].options.threads = 2;
    result.sides[1].options.fece_model = "f.onnx";
  }

  BenchPlan plan;
  BenchResult result;
};

TEST(BenchText, TellsTwoSidesAndTheirRatio) {
  const Measured measured;
  EXPECT_EQ(BenchText(measured.plan, measured.result),
            "A  a.onnx with c.yaml, all cores\n"
            "B  b.onnx with c.yaml and f.onnx, threads: 2\n"
            "2 frames, 2 rounds each after 1 of warm-up, A and B in turns\n"
            "\n"
            "ms              mean     p50     p95     p99   worst  B / A\n"
            "inference  A   8.000   8.000   8.000   8.000   8.000\n"
            "           B   3.000   2.000   6.000   6.000   6.000  0.250\n"
            "total      A  25.000  20.000  40.000  40.000  40.000\n"
            "           B  12.500  10.000  20.000  20.000  20.000  0.500\n"
            "\n"
            "   frames/s  peak memory, each in its own process\n"
            "A     40.00                               3.0 MiB\n"
            "B     80.00                             not known\n"
            "\n"
            "B takes 0.500 of A's time: medians 10.000 and 20.000 ms\n"
            "\n"
            "results of B compared with those of A\n"
            "detections          0 matched, 0 only in A, 0 only in B, 0 of another class\n"
            "box distance        -\n"
            "score difference    -\n"
            "fece verdicts       0 of 0 changed\n");
}

TEST(BenchText, TellsTheClassifiersTimeWhereThereIsOne) {
  Measured measured;
  EXPECT_THAT(BenchText(measured.plan, measured.result), Not(HasSubstr("classify")));
  measured.result.sides[0].times["classify"] = {2, 2, 2, 2};
  measured.result.sides[1].times["classify"] = {1, 1, 1, 1};
  EXPECT_THAT(BenchText(measured.plan, measured.result),
              HasSubstr("           B   3.000   2.000   6.000   6.000   6.000  0.250\n"
                        "classify   A   2.000   2.000   2.000   2.000   2.000\n"
                        "           B   1.000   1.000   1.000   1.000   1.000  0.500\n"
                        "total      A  25.000"));
  const auto json = BenchToJson("p", measured.plan, measured.result);
  EXPECT_EQ(json["b"]["timing_ms"]["classify"]["p50"], 1.0);
  EXPECT_EQ(json["ratios"]["classify"]["b_to_a"], 0.5);
}

TEST(BenchText, SaysWhichSidesNumbersWereNotFinite) {
  Measured measured;
  EXPECT_THAT(BenchText(measured.plan, measured.result), Not(HasSubstr("not finite")));
  measured.result.sides[1].non_finite_frames = 1;
  EXPECT_THAT(
      BenchText(measured.plan, measured.result),
      HasSubstr("\n\nB's network gave numbers that are not finite in 1 of 2 frames: dirt may "
                "be missed there\n\nB takes "));
}

TEST(BenchText, SaysWhereItWasCutShort) {
  Measured measured;
  EXPECT_EQ(BenchToJson("p", measured.plan, measured.result)["interrupted"], false);
  measured.result.interrupted = true;
  EXPECT_THAT(BenchText(measured.plan, measured.result),
              HasSubstr("A and B in turns; cut short by an interrupt\n\n"));
  EXPECT_EQ(BenchToJson("p", measured.plan, measured.result)["interrupted"], true);
}

TEST(BenchText, OfOneSideComparesNothing) {
  Measured measured;
  measured.result.sides.pop_back();
  const std::string text = BenchText(measured.plan, measured.result);
  EXPECT_THAT(text, HasSubstr("2 frames, 2 rounds each after 1 of warm-up\n\n"));
  EXPECT_THAT(text, HasSubstr("total      A  25.000  20.000  40.000  40.000  40.000\n"));
  EXPECT_THAT(text, Not(HasSubstr("\nB")));
}

TEST(BenchToJson, HoldsTheSameNumbers) {
  const Measured measured;
  EXPECT_EQ(BenchToJson("dirty_seg 1", measured.plan, measured.result).dump(),
            "{\"schema_version\":1,\"program\":\"dirty_seg 1\",\"frames\":2,\"failed\":0,"
            "\"interrupted\":false,\"rounds\":2,\"warmup\":1,"
            "\"a\":{\"model\":\"a.onnx\",\"config\":\"c.yaml\",\"threads\":0,\"timing_ms\":{"
            "\"inference\":{\"mean\":8.0,\"p50\":8.0,\"p95\":8.0,\"p99\":8.0,\"worst\":8.0},"
            "\"total\":{\"mean\":25.0,\"p50\":20.0,\"p95\":40.0,\"p99\":40.0,\"worst\":40.0}},"
            "\"frames_per_second\":40.0,\"non_finite_frames\":0,\"peak_memory_bytes\":3145728},"
            "\"b\":{\"model\":\"b.onnx\",\"config\":\"c.yaml\",\"fece_model\":\"f.onnx\","
            "\"threads\":2,\"timing_ms\":{"
            "\"inference\":{\"mean\":3.0,\"p50\":2.0,\"p95\":6.0,\"p99\":6.0,\"worst\":6.0},"
            "\"total\":{\"mean\":12.5,\"p50\":10.0,\"p95\":20.0,\"p99\":20.0,\"worst\":20.0}},"
            "\"frames_per_second\":80.0,\"non_finite_frames\":0},"
            "\"ratios\":{\"inference\":{\"median_a\":8.0,\"median_b\":2.0,\"b_to_a\":0.25},"
            "\"total\":{\"median_a\":20.0,\"median_b\":10.0,\"b_to_a\":0.5}},"
            "\"differences\":{\"frames\":0,\"success_changes\":0,\"matched\":0,\"only_in_a\":0,"
            "\"only_in_b\":0,\"class_changes\":0,\"box_distance\":null,\"score_difference\":null,"
            "\"mask_iou\":{},\"fece_verdicts\":0,\"fece_verdict_changes\":0}}");
}

TEST(BenchToJson, CountsTheFramesWhoseNumbersWereNotFinite) {
  Measured measured;
  measured.result.sides[1].non_finite_frames = 2;
  const auto json = BenchToJson("dirty_seg 9.8.7", measured.plan, measured.result);
  EXPECT_EQ(json["a"]["non_finite_frames"], 0);
  EXPECT_EQ(json["b"]["non_finite_frames"], 2);
}

TEST(BenchToJson, HasNoRatioToATimeOfNothing) {
  Measured measured;
  measured.result.sides[0].times["convert"] = {0, 0};
  measured.result.sides[1].times["convert"] = {1, 1};
  const auto json = BenchToJson("p", measured.plan, measured.result);
  EXPECT_FALSE(json["ratios"]["convert"].contains("b_to_a"));
  EXPECT_EQ(json["ratios"]["convert"]["median_b"], 1.0);
}

TEST(FindingsOf, TakesAnOutcomesDetectionsAndMasks) {
  FrameOutcome outcome;
  outcome.result.bboxes = {{1, 2, 3, 4}};
  outcome.result.scores = {0.5F};
  outcome.result.labels = {7};
  outcome.result.label_masks[7] = cv::Mat::ones(2, 3, CV_8UC1);
  const FrameFindings findings = FindingsOf(outcome);
  ASSERT_EQ(findings.detections.size(), 1U);
  EXPECT_THAT(findings.detections[0].box, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(findings.detections[0].score, 0.5F);
  EXPECT_EQ(findings.detections[0].label, 7);
  EXPECT_EQ(cv::countNonZero(findings.masks.at(7)), 6);
  EXPECT_TRUE(findings.verdicts.empty());
}

TEST(FindingsOf, TakesTheClassifiersVerdicts) {
  FrameOutcome outcome;
  outcome.fece_candidates = {{2, FeceVerdict::kRejected, 0.25F},
                             {5, FeceVerdict::kNotChecked, std::nullopt}};
  EXPECT_THAT(FindingsOf(outcome).verdicts,
              ElementsAre(Pair(2U, "rejected"), Pair(5U, "not_checked")));
}

}  // namespace
}  // namespace dirty_seg
