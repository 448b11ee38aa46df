// The built program on pictures that are not of the frame's size.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>

#include "support/detect_fixture.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::CommonNetwork;
using test::ParseLines;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using test::operator+;
using testing::HasSubstr;

class Fit : public test::DetectFixture {
 protected:
  json LineOf(const std::string& picture, const Arguments& more = {},
              const std::string& yaml = test::kPatches) {
    const ProgramResult result =
        RunProgram(Command(CommonNetwork("seg-b2-64"), yaml) + more + Arguments{picture});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    const std::vector<json> rows = ParseLines(result.output);
    return rows.size() == 1 ? rows[0] : json();
  }
};

// What the frame would show at that place: black, with a red square.
cv::Mat Scene(const cv::Size& size) {
  cv::Mat picture = test::Plain(size, test::kBlackPixel);
  picture(cv::Rect(1000, 500, 64, 64)).setTo(test::kRedPixel);
  return picture;
}

constexpr const char* kOnSquare = "patch: {enable: true, patches: [[1000, 500, 64, 64]]}";

// The patch reaches over the picture's edge: cut there, its crop would be scaled by another factor
// than the decoder reckons with.
TEST_F(Fit, FindsTheSameAtAPicturesEdgeAsInTheSamePixelsOfAFrame) {
  const cv::Mat frame = Scene(test::kFrame);
  const cv::Mat cut = frame(cv::Rect(0, 0, 1040, 1080));
  cv::Mat padded = frame.clone();
  padded.colRange(1040, 1920).setTo(cv::Scalar::all(114));
  const json expected = LineOf(test::WritePicture(folder_ / "padded.png", padded), {}, kOnSquare);
  const json found = LineOf(test::WritePicture(folder_ / "cut.png", cut), {}, kOnSquare);
  ASSERT_EQ(expected["bboxes"].size(), 1U);
  for (const char* key : {"bboxes", "scores", "labels", "mask_pixel_counts", "label_masks"}) {
    EXPECT_EQ(found[key], expected[key]) << key;
  }
  EXPECT_EQ(found["image_size"], json({1080, 1040}));
  EXPECT_EQ(found["fit"], json::parse(R"({"scale": 1.0, "size": [1080, 1040]})"));
}

// Of each picture, the patch has one line of pixels alone.
TEST_F(Fit, TakesPicturesThatEndOnePixelBehindAPatchsBorder) {
  const std::vector<std::pair<cv::Size, std::string>> cases{{{641, 1080}, "[640, 0, 640, 540]"},
                                                            {{1281, 1080}, "[1280, 0, 640, 540]"},
                                                            {{1920, 541}, "[0, 540, 640, 540]"}};
  for (const auto& [size, patch] : cases) {
    const std::string yaml = "patch: {enable: true, patches: [" + patch + ", [0, 0, 64, 64]]}";
    EXPECT_EQ(LineOf(Picture("a.png", test::kRedPixel, size), {}, yaml)["success"], true) << patch;
  }
}

TEST_F(Fit, SearchesAllOfALargePicture) {
  cv::Mat large;
  cv::resize(Scene(test::kFrame), large, {3840, 2160}, 0, 0, cv::INTER_NEAREST);
  const json found = LineOf(test::WritePicture(folder_ / "4k.png", large), {}, kOnSquare);
  const json expected =
      LineOf(test::WritePicture(folder_ / "hd.png", Scene(test::kFrame)), {}, kOnSquare);
  ASSERT_EQ(expected["bboxes"].size(), 1U);
  EXPECT_EQ(found["bboxes"], expected["bboxes"]);
  EXPECT_EQ(found["label_masks"], expected["label_masks"]);
  EXPECT_EQ(found["fit"], json::parse(R"({"scale": 0.5, "size": [1080, 1920]})"));
}

TEST_F(Fit, TellsThatAPictureOfTheFramesSizeLiesInItAsItIs) {
  EXPECT_EQ(LineOf(Picture("hd.png", test::kRedPixel))["fit"],
            json::parse(R"({"scale": 1.0, "size": [1080, 1920]})"));
}

TEST_F(Fit, OnlyPadsWhenToldTo) {
  const json line = LineOf(Picture("small.png", test::kRedPixel, {480, 360}), {"--fit", "pad"});
  EXPECT_EQ(line["fit"], json::parse(R"({"scale": 1.0, "size": [360, 480]})"));
}

TEST_F(Fit, NamesALargerPictureThatMustNotBeScaledAndDoesTheRest) {
  const std::string large = Picture("large.png", test::kRedPixel, {1921, 1080});
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{"--fit", "pad", large, red});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "dirty_seg: error: '" + large +
                               "': is 1921 x 1080, larger than the frame of 1920 x 1080; expected "
                               "one that fits in, or --fit scale\n");
  ASSERT_EQ(ParseLines(result.output).size(), 1U);
}

TEST_F(Fit, KnowsTwoWords) {
  EXPECT_THAT(RefusalOf(Command() + Arguments{"--fit", "stretch", "a.png"}),
              HasSubstr("--fit: stretch is not one of scale, pad"));
}

// seg-b2-64 has the box [16, 24, 48, 40] of a red patch; in a picture of twice the frame's size it
// is twice as far, and its mask 64 x 32 pixels.
TEST_F(Fit, WritesEveryFormForReadersOfThePicture) {
  const std::string out = folder_ / "out";
  const std::string yaml = "patch: {enable: true, patches: [[640, 440, 64, 64]]}";
  const std::string large = Picture("large.png", test::kRedPixel, {3840, 2160});
  const ProgramResult result =
      RunProgram(Command(CommonNetwork("seg-b2-64"), yaml) +
                 Arguments{"--output", out, "--coco", "--yolo", "--polygons", large});
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(cv::imread(out + "/large.overlay.jpg").size(), cv::Size(3840, 2160));
  EXPECT_EQ(cv::imread(out + "/large.mask_0.png").size(), test::kFrame);
  EXPECT_EQ(json::parse(ReadFile(out + "/coco_results.json"))[0]["bbox"],
            json({1312, 928, 64, 32}));
  EXPECT_EQ(json::parse(ReadFile(out + "/polygons.jsonl"))["label_polygons"]["0"][0]["outer"],
            json::parse("[[1312, 928], [1312, 959], [1375, 959], [1375, 928]]"));
  // (1312 + 0.5) / 3840 and (928 + 0.5) / 2160
  EXPECT_THAT(ReadFile(out + "/labels/large.txt"), testing::StartsWith("0 0.341797 0.429861 "));
}

TEST_F(Fit, IsTheSameInADump) {
  const std::string yaml = "patch: {enable: true, patches: [[640, 440, 64, 64]]}";
  Arguments command = Command(CommonNetwork("seg-b2-64"), yaml);
  command[0] = "dump";
  const std::string large = Picture("large.png", test::kRedPixel, {3840, 2160});
  const std::string out = folder_ / "out";
  ASSERT_EQ(RunProgram(command + Arguments{"--output", out, large}).status, 0);
  const json dump = json::parse(ReadFile(out + "/dump.json"));
  EXPECT_EQ(dump["image_size"], json({2160, 3840}));
  EXPECT_EQ(dump["fit"], json::parse(R"({"scale": 0.5, "size": [1080, 1920]})"));
  EXPECT_EQ(dump["detections"][0]["bbox"], json({656, 464, 688, 480}));
  EXPECT_EQ(
      RunProgram(command + Arguments{"--output", out, "--overwrite", "--fit", "pad", large}).status,
      1);
}

TEST_F(Fit, IsTheSameInABench) {
  Arguments command = Command() + Arguments{"--rounds", "1", "--warmup", "0", "--json"};
  command[0] = "bench";
  const std::string large = Picture("large.png", test::kRedPixel, {3840, 2160});
  EXPECT_EQ(RunProgram(command + Arguments{large}).status, 0);
  const ProgramResult refused = RunProgram(command + Arguments{"--fit", "pad", large});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.errors, HasSubstr("larger than the frame of 1920 x 1080"));
}

TEST_F(Fit, IsUndoneWhenResultsOfTwoFitsAreCompared) {
  const std::string yaml = "patch: {enable: true, patches: [[0, 0, 64, 64]]}";
  const std::string small = Picture("small.png", test::kRedPixel, {960, 540});
  for (const char* fit : {"scale", "pad"}) {
    ASSERT_EQ(RunProgram(Command(CommonNetwork("seg-b2-64"), yaml) +
                         Arguments{"--fit", fit, "--output", folder_ / fit, small})
                  .status,
              0);
  }
  // The box [16, 24, 48, 40] of the frame is [8, 12, 24, 20] of the picture where that was doubled.
  const json all = json::parse(
      RunProgram({"compare", "--json", folder_ / "scale", folder_ / "pad"}).output)["all"];
  EXPECT_EQ(all["only_in_a"], 1);
  EXPECT_EQ(json::parse(RunProgram({"compare", "--json", folder_ / "scale", folder_ / "scale"})
                            .output)["all"]["matched"],
            1);
  const json lines = ParseLines(ReadFile(folder_ / "scale/results.jsonl")).at(0);
  EXPECT_EQ(lines["bboxes"], json::parse("[[16, 24, 48, 40]]"));
}

// The page's boxes and masks are in pixels of its picture.
TEST_F(Fit, IsUndoneInTheReport) {
  const std::string out = folder_ / "out";
  const std::string yaml = "patch: {enable: true, patches: [[640, 440, 64, 64]]}";
  const std::string large = Picture("large.png", test::kRedPixel, {3840, 2160});
  ASSERT_EQ(
      RunProgram(Command(CommonNetwork("seg-b2-64"), yaml) + Arguments{"--output", out, large})
          .status,
      0);
  ASSERT_EQ(RunProgram({"report", out}).status, 0);
  const std::string page = ReadFile(out + "/report.html");
  EXPECT_THAT(page, HasSubstr("\"boxes\":[[1312.0,928.0,1376.0,960.0]]"));
  EXPECT_THAT(page, HasSubstr("\"masks\":{\"0\":{\"size\":[2160,3840],"));
}

}  // namespace
}  // namespace dirty_seg
