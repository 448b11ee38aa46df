// The built program's `check`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

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
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kSquare = "patch:\n  enable: true\n  patches:\n    - [0, 0, 640, 640]\n";

class CheckProgram : public testing::Test {
 protected:
  test::TemporaryFolder folder_;
};

TEST_F(CheckProgram, SaysWhatIsWrongOnStandardOutput) {
  const std::string config = folder_.Write("c.yaml", "patch: {enable: perhaps}\n");
  const ProgramResult result = RunProgram({"check", config});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.output, StartsWith(config + ":1: error: patch.enable is 'perhaps'"));
  EXPECT_EQ(result.errors, "");
}

TEST_F(CheckProgram, PassesOverWarningsUnlessStrict) {
  const std::string config = folder_.Write("c.yaml", kSquare);
  const ProgramResult result = RunProgram({"check", config});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, HasSubstr(": warning: 80.2 % of the frame lie in no patch"));
  EXPECT_EQ(RunProgram({"check", "--strict", config}).status, 1);
}

TEST_F(CheckProgram, TellsItAllAsJson) {
  const std::string config = folder_.Write("c.yaml",
                                           "patch:\n"
                                           "  enable: perhaps\n"
                                           "  patches:\n"
                                           "    - [0, 0, 640, 639]\n"
                                           "    - [1600, 800, 640, 640]\n"
                                           "    - [0, wide, 640, 640]\n"
                                           "postprocess: {iou_threshold: high, iou: 1}\n");
  const ProgramResult result = RunProgram({"check", "--json", config});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors, "");
  const json root = json::parse(result.output);
  EXPECT_EQ(root["config"], config);
  EXPECT_EQ(root["network_side"], 640);
  EXPECT_EQ(root["errors"], 4);
  const json& findings = root["findings"];
  EXPECT_FALSE(findings[0].contains("line"));  // gaps
  EXPECT_FALSE(findings[0].contains("key"));
  EXPECT_EQ(findings[0]["kind"], "warning");
  EXPECT_EQ(findings[1], (json{{"file", config},
                               {"line", 2},
                               {"key", "patch.enable"},
                               {"kind", "error"},
                               {"message", "patch.enable is 'perhaps'"},
                               {"advice", "expected true or false"}}));
  EXPECT_EQ(findings[2]["key"], "patch.patches[0]");
  EXPECT_EQ(findings[2]["advice"], "near it, these do not: 640 x 640, 640 x 638");
  EXPECT_EQ(findings[4]["key"], "patch.patches[2]");
  EXPECT_EQ(findings[5]["key"], "postprocess.iou_threshold");
  EXPECT_EQ(findings[5]["message"], "postprocess.iou_threshold is 'high'");
  EXPECT_EQ(findings[5]["advice"], "expected a number from 0 to 1");
  ASSERT_EQ(root["patches"].size(), 2U);
  EXPECT_EQ(root["patches"][0]["fills_slot"], false);
  EXPECT_EQ(root["patches"][0]["padded"], json({639, 640}));
  EXPECT_EQ(root["patches"][1]["rectangle"], json({1600, 800, 640, 640}));
  EXPECT_EQ(root["patches"][1]["clipped"], json({1600, 800, 320, 280}));
  EXPECT_EQ(root["patches"][1]["scaled"], json({560, 640}));
  EXPECT_EQ(root["patches"][1]["shrunk"], 0.5);
}

TEST_F(CheckProgram, TakesTheSideFromTheNetwork) {
  const std::string config = folder_.Write("c.yaml", kSquare);
  const ProgramResult result = RunProgram({"check", config, "--model", CommonNetwork("seg-b2-64")});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, HasSubstr("is shrunk to one pixel of 10.0"));
}

TEST_F(CheckProgram, HoldsClassIdsAgainstTheNetwork) {
  const std::string config = folder_.Write(
      "c.yaml", std::string(kSquare) + "postprocess: {score_thresholds: {1: 0.5, 3: 0.5}}\n");
  EXPECT_THAT(RunProgram({"check", config}).output, Not(HasSubstr("class 3")));
  const ProgramResult result = RunProgram({"check", config, "--model", CommonNetwork("seg-b2-64")});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output,
              HasSubstr("warning: postprocess.score_thresholds names class 3: the network has no "
                        "such class, so it has no effect; expected class ids from 0 to 1\n"));
}

TEST_F(CheckProgram, HoldsThePatchesAgainstTheBatch) {
  const std::string config = folder_.Write(
      "c.yaml", std::string(kSquare) + "    - [0, 0, 640, 640]\n    - [0, 0, 640, 640]\n");
  const ProgramResult result = RunProgram({"check", config, "--model", CommonNetwork("seg-b2-64")});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("its batch of 2 is too small for the 3 patches"));
}

TEST_F(CheckProgram, RefusesANetworkThatIsNoSegmentation) {
  const std::string config = folder_.Write("c.yaml", kSquare);
  const ProgramResult result =
      RunProgram({"check", config, "--model", CommonNetwork("boxes-only")});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("not a YOLOv8 segmentation network"));
}

TEST_F(CheckProgram, DrawsPatchesAndGaps) {
  const std::string config = folder_.Write("c.yaml", kSquare);
  const cv::Mat frame = test::Plain(test::kFrame, {100, 100, 100});
  const std::string output = folder_ / "patches.png";
  const ProgramResult result =
      RunProgram({"check", config, "--frame", test::WritePicture(folder_ / "f.png", frame),
                  "--output", output});
  EXPECT_EQ(result.status, 0) << result.errors;
  const cv::Mat drawn = cv::imread(output);
  ASSERT_EQ(drawn.size(), test::kFrame);
  EXPECT_EQ(drawn.at<cv::Vec3b>(320, 320), cv::Vec3b(100, 100, 100));  // inside the patch
  EXPECT_EQ(drawn.at<cv::Vec3b>(1000, 1200), cv::Vec3b(40, 40, 40));   // a gap, off its cross
  EXPECT_NE(drawn.at<cv::Vec3b>(320, 4), cv::Vec3b(100, 100, 100));    // the outline
}

TEST_F(CheckProgram, DrawsOverAPictureAsARunWouldFitIt) {
  const std::string config =
      folder_.Write("c.yaml", "patch:\n  enable: true\n  patches: [[0, 0, 1920, 1080]]\n");
  const std::string frame =
      test::WritePicture(folder_ / "tiny.png", test::Plain({320, 180}, test::kRedPixel));
  const auto draw = [&](const std::string& fit) {
    const ProgramResult result = RunProgram({"check", config, "--frame", frame, "--fit", fit,
                                             "--output", folder_ / "drawn.png", "--overwrite"});
    EXPECT_EQ(result.status, 0) << result.errors;
    const cv::Mat drawn = cv::imread(folder_ / "drawn.png");
    EXPECT_EQ(drawn.size(), test::kFrame);
    return drawn.at<cv::Vec3b>(540, 960);
  };
  EXPECT_EQ(draw("scale"), cv::Vec3b(0, 0, 255));
  EXPECT_EQ(draw("pad"), cv::Vec3b(114, 114, 114));
}

TEST_F(CheckProgram, RefusesAFrameThatPaddingCannotFit) {
  const std::string config = folder_.Write("c.yaml", kSquare);
  const std::string large =
      test::WritePicture(folder_ / "large.png", test::Plain({1921, 1080}, test::kRedPixel));
  const ProgramResult result = RunProgram(
      {"check", config, "--frame", large, "--fit", "pad", "--output", folder_ / "drawn.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("'" + large + "': is 1921 x 1080, larger than the frame"));
}

TEST_F(CheckProgram, ReplacesNoPictureUnlessTold) {
  const std::string config = folder_.Write("c.yaml", kSquare);
  const std::string frame =
      test::WritePicture(folder_ / "f.png", test::Plain(test::kFrame, test::kRedPixel));
  const std::string before = test::ReadFile(frame);
  const ProgramResult result = RunProgram({"check", config, "--frame", frame, "--output", frame});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors,
            "dirty_seg: error: '" + frame + "' already exists; --overwrite replaces it\n");
  EXPECT_EQ(test::ReadFile(frame), before);
  EXPECT_EQ(
      RunProgram({"check", config, "--frame", frame, "--output", frame, "--overwrite"}).status, 0);
  EXPECT_NE(test::ReadFile(frame), before);
}

TEST_F(CheckProgram, NeedsFrameAndOutputTogether) {
  const ProgramResult result = RunProgram({"check", "c.yaml", "--frame", "f.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("--frame requires --output"));
}

TEST_F(CheckProgram, NamesAPictureThatCannotBeReadOrWritten) {
  const std::string config = folder_.Write("c.yaml", kSquare);
  const std::string text = folder_.Write("text.png", "no picture");
  ProgramResult result =
      RunProgram({"check", config, "--frame", text, "--output", folder_ / "p.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors, "dirty_seg: error: '" + text + "': is not a picture that can be read\n");
  const std::string frame =
      test::WritePicture(folder_ / "f.png", test::Plain(test::kFrame, test::kRedPixel));
  result = RunProgram({"check", config, "--frame", frame, "--output", folder_ / "p.txt"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, EndsWith("expected a name that ends in .png or .jpg\n"));
}

}  // namespace
}  // namespace dirty_seg
