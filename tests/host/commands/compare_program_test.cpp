// The built program's `compare` on real files: results of two networks, and tensors.
//
// seg-b2-64 and its quantised twin score a patch by the mean of its red and of its green plane; the
// twin in steps of 0.25, so that it sees 1 and 0.5 exactly.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::CommonNetwork;
using test::ProgramResult;
using test::RunProgram;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class Compare : public testing::Test {
 protected:
  // Results of `model` on a picture of that colour, in the folder `name`.
  std::string Detect(const std::string& name, const std::string& model, const cv::Scalar& colour) {
    const std::string config = folder_.Write(
        "config.yaml", "patch: {enable: true, patches: [[0, 0, 64, 64], [640, 440, 64, 64]]}\n");
    const std::string picture =
        test::WritePicture(folder_ / "floor.png", test::Plain(test::kFrame, colour));
    const ProgramResult result = RunProgram({"detect", "--model", CommonNetwork(model), "--config",
                                             config, "--output", folder_ / name, picture});
    EXPECT_EQ(result.status, 0) << result.errors;
    return folder_ / name;
  }

  test::TemporaryFolder folder_;
};

TEST_F(Compare, FindsNoDifferenceBetweenTwoRuns) {
  const std::string a = Detect("a", "seg-b2-64", test::kRedPixel);
  const std::string b = Detect("b", "seg-b2-64", test::kRedPixel);
  const ProgramResult result =
      RunProgram({"compare", a, b, "--max-box-distance", "0", "--max-score-difference", "0",
                  "--min-mask-iou", "1", "--max-unmatched", "0"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.output,
            "frame, its worst  matched  only A  only B  class  box px   score  mask IoU  fece\n"
            "floor.png               2       0       0      0    0.00  0.0000    1.0000     0\n"
            "\n"
            "all 1 frames\n"
            "detections          2 matched, 0 only in A, 0 only in B, 0 of another class\n"
            "box distance        mean 0.00, worst 0.00 pixels\n"
            "score difference    mean 0.0000, worst 0.0000\n"
            "mask IoU, label 0   mean 1.0000, worst 1.0000\n"
            "fece verdicts       0 of 0 changed\n");
}

TEST_F(Compare, TellsAQuantisedNetworksLossAsJson) {
  // Red 0.6 of 1, which the quantised network takes for 0.5 or 0.75.
  const cv::Scalar colour(0, 0, 153);
  const std::string a = Detect("a", "seg-b2-64", colour);
  const std::string b = Detect("b", "seg-b2-64-quantised", colour);
  const ProgramResult result = RunProgram({"compare", "--json", a, b});
  EXPECT_EQ(result.status, 0);
  const json root = json::parse(result.output);
  EXPECT_EQ(root["schema_version"], 1);
  EXPECT_EQ(root["a"], a);
  ASSERT_EQ(root["frames"].size(), 1U);
  const json& frame = root["frames"][0];
  EXPECT_EQ(frame["source_a"], folder_ / "floor.png");
  EXPECT_EQ(frame["matched"], 2);
  EXPECT_EQ(frame["box_distance"]["worst"], 0.0);
  EXPECT_EQ(frame["mask_iou"]["0"], 1.0);
  const json scores = json::parse(test::ReadFile(b + "/results.jsonl"))["scores"];
  const double lost = std::abs(static_cast<double>(0.6F) - scores[0].get<double>());
  EXPECT_GT(lost, 0.0);
  EXPECT_NEAR(root["all"]["score_difference"]["worst"].get<double>(), lost,
              1e-5);  // the mean of 4096 floats
}

TEST_F(Compare, FailsBeyondALimit) {
  const std::string a = Detect("a", "seg-b2-64", test::kRedPixel);
  const std::string b = Detect("b", "seg-b2-64", test::kGreenPixel);
  const ProgramResult result =
      RunProgram({"compare", a, b, "--max-unmatched", "1", "--min-mask-iou", "0.5"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "dirty_seg: error: --min-mask-iou 0.5: 0.0 in '" +
                               folder_ / "floor.png" +
                               "'\ndirty_seg: error: --max-unmatched 1: 2 detections\n");
  EXPECT_EQ(RunProgram({"compare", a, b}).status, 0);
}

TEST_F(Compare, ReadsLinesOfAnyName) {
  const std::string line = R"("bboxes": [], "scores": [], "labels": []})";
  const std::string a = folder_.Write("a.jsonl", R"({"source": "x.png", )" + line);
  const std::string b = folder_.Write("b.jsonl", R"({"source": "y.png", )" + line);
  EXPECT_EQ(RunProgram({"compare", a, a}).status, 0);
  const ProgramResult result = RunProgram({"compare", a, b});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("\nonly in A  'x.png'\nonly in B  'y.png'\n"));
  EXPECT_EQ(result.errors, "dirty_seg: error: the two have no frame in common\n");
}

TEST_F(Compare, WarnsUnlessQuiet) {
  const std::string cut =
      folder_.Write("a.jsonl", R"({"source": "x.png", "bboxes": [], "scores": [], "labels": []})"
                               "\n{");
  EXPECT_THAT(RunProgram({"compare", cut, cut}).errors, HasSubstr("line 2: ends in the middle"));
  const ProgramResult quiet = RunProgram({"compare", "-q", cut, cut});
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.errors, "");
}

TEST_F(Compare, RefusesWhatCannotBeCompared) {
  const std::string empty = folder_.Write("a.jsonl", "");
  const auto refusal = [](const Arguments& arguments) {
    const ProgramResult result = RunProgram(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    return result.errors;
  };
  EXPECT_THAT(refusal({"compare", empty, folder_ / "gone"}),
              HasSubstr("gone': cannot be opened: No such file or directory\n"));
  EXPECT_THAT(refusal({"compare", empty, folder_ / "x.npy"}),
              HasSubstr("one is a dump, the other is not; expected two results or two dumps\n"));
  EXPECT_THAT(refusal({"compare", empty, empty, "--max-difference", "1"}),
              HasSubstr("--max-difference is a limit of dumps"));
  EXPECT_THAT(refusal({"compare", "a.npy", "b.npy", "--max-unmatched", "1"}),
              HasSubstr("expected --max-difference for dumps\n"));
  EXPECT_THAT(refusal({"compare", empty, empty, "--min-mask-iou", "nan"}),
              HasSubstr("nan is not a number from 0 to 1"));
  EXPECT_THAT(refusal({"compare", empty, folder_.Write("b.jsonl", "{}")}),
              HasSubstr("b.jsonl' line 1: source is missing\n"));
}

}  // namespace
}  // namespace dirty_seg
