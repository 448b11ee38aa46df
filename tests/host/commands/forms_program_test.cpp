// The forms of results that the built program writes on request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "results/run_length.h"
#include "support/detect_fixture.h"
#include "support/file_size_limit.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using test::operator+;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class DetectForms : public test::DetectFixture {
 protected:
  // Red, but magenta in the second patch.
  std::string BothPicture() {
    cv::Mat picture = test::Plain(test::kFrame, test::kRedPixel);
    picture(cv::Rect(640, 440, 64, 64)).setTo(test::kMagentaPixel);
    return test::WritePicture(folder_ / "both.png", picture);
  }

  void Run(const Arguments& arguments) {
    const ProgramResult result =
        RunProgram(Command() + Classifier(test::CommonNetwork("classifier-224")) +
                   Arguments{"--output", folder_ / "out"} + arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
  }

  std::string Written(const std::string& name) { return ReadFile(folder_ / "out" + "/" + name); }
};

TEST_F(DetectForms, AreCocosResults) {
  Run({"--coco", BothPicture()});
  const json results = json::parse(Written("coco_results.json"));
  ASSERT_EQ(results.size(), 2U);
  EXPECT_EQ(results[0]["category_id"], 0);
  EXPECT_EQ(results[1]["category_id"], 19);
  EXPECT_EQ(results[1]["image_id"], 1);
  EXPECT_EQ(results[1]["bbox"], json({656, 464, 32, 16}));
  EXPECT_EQ(results[1]["score"], 1.0);
  const json& segmentation = results[1]["segmentation"];
  EXPECT_EQ(segmentation["size"], json({1080, 1920}));
  cv::Mat expected = cv::Mat::zeros(test::kFrame, CV_8UC1);
  expected(cv::Rect(656, 464, 32, 16)).setTo(255);
  const cv::Mat mask = DecodeRunLengths({1080, 1920, segmentation["counts"]});
  EXPECT_EQ(cv::countNonZero(mask != expected), 0);
  const json images = json::parse(Written("coco_images.json"));
  EXPECT_EQ(images["images"][0]["file_name"], folder_ / "both.png");
  EXPECT_EQ(images["categories"].back(), json::parse(R"({"id": 19, "name": "faeces"})"));
}

TEST_F(DetectForms, ArePolygons) {
  Run({"--polygons", BothPicture()});
  const json line = json::parse(Written("polygons.jsonl"));
  EXPECT_EQ(line["lossy"], true);
  EXPECT_EQ(line["label_polygons"], json::parse(R"({
    "0": [{"outer": [[16, 24], [16, 39], [47, 39], [47, 24]], "holes": []}],
    "19": [{"outer": [[656, 464], [656, 479], [687, 479], [687, 464]], "holes": []}]})"));
}

TEST_F(DetectForms, AreYolosLabels) {
  Run({"--yolo", BothPicture()});
  // 16.5 / 1920, 24.5 / 1080, 39.5 / 1080, 47.5 / 1920; the same of 656, 464, 479, 687.
  EXPECT_EQ(Written("labels/both.txt"),
            "0 0.008594 0.022685 0.008594 0.036574 0.024740 0.036574 0.024740 0.022685\n"
            "19 0.341927 0.430093 0.341927 0.443981 0.358073 0.443981 0.358073 0.430093\n");
}

TEST_F(DetectForms, AreCropsOfCandidates) {
  Run({"--crops", BothPicture()});
  EXPECT_EQ(cv::imread(folder_ / "out/both.crop_0.rejected_0.02.png").size(), cv::Size(32, 16));
  const cv::Mat crop = cv::imread(folder_ / "out/both.crop_1.confirmed_0.60.png");
  ASSERT_EQ(crop.size(), cv::Size(32, 16));
  EXPECT_EQ(cv::mean(crop), test::kMagentaPixel);
}

TEST_F(DetectForms, AreVideosOfVideos) {
  const std::string clip = test::WriteVideo(
      folder_ / "clip.avi", {6, test::Plain(test::kFrame, test::kGreenPixel)}, 10.0);
  Run({"--video", "--frame-step", "2", clip});
  const test::VideoContent video = test::ReadVideo(folder_ / "out/clip.overlay.mp4");
  EXPECT_EQ(video.rate, 5.0);
  ASSERT_EQ(video.frames.size(), 3U);
  ASSERT_EQ(video.frames[0].size(), test::kFrame);
  // Green all over, as far as the codec keeps it (on Arm less), but for what is drawn at patches.
  const std::string again =
      test::WriteVideo(folder_ / "again.avi", {1, test::ReadVideo(clip).frames.at(0)}, 5.0);
  const double green = cv::mean(test::ReadVideo(again).frames.at(0))[1];
  ASSERT_GT(green, 200.0);
  EXPECT_NEAR(cv::mean(video.frames[0](cv::Rect(1000, 800, 100, 100)))[1], green, 4.0);
  EXPECT_LT(cv::mean(video.frames[0](cv::Rect(16, 24, 32, 16)))[1], green - 15.0);
}

TEST_F(DetectForms, AllTogetherLeaveTheResultsAsTheyAre) {
  Run({"--coco", "--polygons", "--yolo", "--crops", "--video", BothPicture()});
  const json row = test::ParseLines(Written("results.jsonl")).at(0);
  EXPECT_EQ(row["labels"], json({0, 19}));
  for (const char* name : {"coco_results.json", "coco_images.json", "polygons.jsonl",
                           "labels/both.txt", "both.overlay.jpg", "summary.json"}) {
    EXPECT_TRUE(std::filesystem::is_regular_file(folder_ / "out" + "/" + name)) << name;
  }
}

TEST_F(DetectForms, NeedAFolder) {
  for (const char* form : {"--coco", "--polygons", "--yolo", "--video"}) {
    EXPECT_EQ(RefusalOf(Command() + Arguments{form, "x.png"}),
              std::string("dirty_seg: error: ") + form +
                  " writes into a folder; expected --output DIR or --save\n");
  }
}

TEST_F(DetectForms, AreNamedWhenTheyCannotBeWritten) {
  folder_.MakeFolder("out/labels/both.txt");
  const ProgramResult result = RunProgram(
      Command() + Arguments{"--yolo", "--overwrite", "--output", folder_ / "out", BothPicture()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors,
              HasSubstr("dirty_seg: error: '" + folder_ / "both.png" + "': '" +
                        folder_ / "out/labels/both.txt" + "' cannot be written: Is a directory\n"));
}

TEST_F(DetectForms, OfAFrameAndOfAPictureThatIsCalledLikeItAreBothKept) {
  const std::string clip = test::WriteVideo(
      folder_ / "clip.avi", {2, test::Plain(test::kFrame, test::kGreenPixel)}, 10.0);
  const std::string picture = Picture("clip.frame_000000.png", test::kRedPixel);
  for (const Arguments& inputs : {Arguments{clip, picture}, Arguments{picture, clip}}) {
    Run(Arguments{"--overwrite", "--yolo"} + inputs);
    std::set<std::string> files;
    for (const json& row : test::ParseLines(Written("results.jsonl"))) {
      const std::string overlay = row["overlay"];
      files.insert(overlay);
      const cv::Mat drawn = cv::imread(folder_ / "out" + "/" + overlay);
      const int plane = row["source"] == picture ? 2 : 1;
      EXPECT_GT(cv::mean(drawn(cv::Rect(1000, 800, 100, 100)))[plane], 200.0) << overlay;
      for (const auto& [label, mask] : row["label_masks"].items()) files.insert(mask["file"]);
      const std::string name = overlay.substr(0, overlay.rfind(".overlay.jpg"));
      EXPECT_THAT(Written("labels/" + name + ".txt"),
                  StartsWith(row["source"] == picture ? "0 " : "1 "));
    }
    EXPECT_EQ(files.size(), 6U);
  }
}

TEST_F(DetectForms, AreNoFilesWhenThereIsNoRoomForThemAndTheRunEnds) {
  const std::string picture = BothPicture();
  const std::string other = Picture("other.png", test::kRedPixel);
  const test::FileSizeLimit limit(16384);  // more than a mask takes, less than the overlay
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--coco", "--output", folder_ / "out", picture, other});
  EXPECT_EQ(result.status, 1);
  const std::string cause =
      "'" + folder_ / "out/both.overlay.jpg" + "' cannot be written: File too large";
  EXPECT_EQ(result.errors,
            "dirty_seg: error: '" + picture + "': " + cause +
                "\ndirty_seg: error: the run ends here, as nothing more can be kept: 0 of 2 inputs "
                "processed; 1 frame of results is in '" +
                folder_ / "out/results.jsonl" + "'; the last one lacks some of its files\n");
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder_ / "out")) {
    files.insert(entry.path().filename());
  }
  EXPECT_THAT(files,
              testing::ElementsAre("both.mask_0.png", "coco_images.json", "coco_results.json",
                                   "results.jsonl", "results_files.txt", "summary.json"));
  EXPECT_EQ(test::ParseLines(Written("results.jsonl")).size(), 1U);
  EXPECT_EQ(json::parse(Written("coco_results.json")), json::array());
  const json summary = json::parse(Written("summary.json"));
  EXPECT_EQ(summary["frames"], 1);
  EXPECT_EQ(summary["failed"], 1);
  EXPECT_EQ(summary["inputs"], 1);
  EXPECT_EQ(summary["inputs_total"], 2);
  EXPECT_EQ(summary["failures"], json::array({{{"source", picture}, {"cause", cause}}}));
  EXPECT_EQ(summary["write_error"], cause);
}

// 300 frames whose lines take 500 bytes and more, and whose pictures are far smaller than the
// limit.
TEST_F(DetectForms, EndInAWholeLineWhenThereIsNoRoomForTheNext) {
  const std::string clip =
      test::WriteVideo(folder_ / "clip.avi", {300, test::Plain({64, 64}, test::kRedPixel)}, 10.0);
  const test::FileSizeLimit limit(60000);
  const ProgramResult result =
      RunProgram(Command() + Arguments{"-q", "--coco", "--polygons", "--yolo", "--output",
                                       folder_ / "out", clip});
  EXPECT_EQ(result.status, 1);
  const std::vector<json> rows = test::ParseLines(Written("results.jsonl"));
  EXPECT_GT(rows.size(), 20U);
  EXPECT_LT(rows.size(), 120U);
  const std::string count = std::to_string(rows.size());
  EXPECT_THAT(result.errors,
              HasSubstr("'" + clip + "' frame " + count + ": '" + folder_ / "out/results.jsonl" +
                        "' cannot be written: File too large\n"));
  EXPECT_THAT(result.errors,
              EndsWith(" 0 of 1 inputs processed; " + count + " frames of results are in '" +
                       folder_ / "out/results.jsonl" + "'\n"));
  for (const json& row : rows) {
    EXPECT_FALSE(cv::imread(folder_ / "out/" + row["overlay"].get<std::string>()).empty());
  }
  const json failure = json::parse(Written("summary.json"))["failures"].at(0);
  EXPECT_EQ(failure["frame"], rows.size());
  EXPECT_EQ(json::parse(Written("coco_images.json"))["images"].size(), rows.size());
  EXPECT_EQ(json::parse(Written("coco_results.json")).size(), 2 * rows.size());  // of two patches
  EXPECT_EQ(test::ParseLines(Written("polygons.jsonl")).size(), rows.size());
}

TEST_F(DetectForms, OfVideosAreNamedWhenTheyAreCutShort) {
  std::vector<cv::Mat> frames(100);
  for (cv::Mat& frame : frames) {  // of noise, which takes room
    frame.create(240, 320, CV_8UC3);
    cv::randu(frame, cv::Scalar(0, 0, 0), cv::Scalar(60, 60, 255));
  }
  const std::string clip = test::WriteVideo(folder_ / "clip.avi", frames, 10.0);
  const test::FileSizeLimit limit(100000);  // of the files, the annotated video alone is larger
  const ProgramResult result =
      RunProgram(Command() + Arguments{"-q", "--fit", "pad", "--video", "--coco", "--output",
                                       folder_ / "out", clip});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors,
              EndsWith("dirty_seg: error: '" + folder_ / "out/clip.overlay.mp4" +
                       "' cannot be written whole, and is removed; is there room for it?\n"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out/clip.overlay.mp4"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out/clip.overlay.part.mp4"));
  EXPECT_EQ(json::parse(Written("summary.json"))["frames"], 100);
  EXPECT_THAT(json::parse(Written("summary.json"))["write_error"],
              HasSubstr("clip.overlay.mp4' cannot be written whole"));
  EXPECT_EQ(json::parse(Written("coco_images.json"))["images"].size(), 100U);
}

TEST_F(DetectForms, LeaveOutPicturesThatAreNotWanted) {
  const std::string clip =
      test::WriteVideo(folder_ / "clip.avi", {2, test::Plain({320, 240}, test::kRedPixel)}, 10.0);
  const ProgramResult result =
      RunProgram(Command() + Arguments{"-q", "--fit", "pad", "--video", "--no-overlays",
                                       "--no-masks", "--output", folder_ / "out", clip,
                                       Picture("red.png", test::kRedPixel)});
  EXPECT_EQ(result.status, 0) << result.errors;
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder_ / "out")) {
    names.push_back(entry.path().filename().string());
  }
  EXPECT_THAT(names, testing::UnorderedElementsAre("results.jsonl", "results_files.txt",
                                                   "summary.json", "clip.overlay.mp4"));
  for (const json& row : test::ParseLines(Written("results.jsonl"))) {
    EXPECT_FALSE(row.contains("overlay"));
    EXPECT_FALSE(row["label_masks"]["0"].contains("file"));
    EXPECT_GT(row["label_masks"]["0"]["pixels"], 0);
  }
}

// The boxes [16, 24, 48, 40] and [36, 32, 68, 48] are all mask and share 12 x 8 of their 512 pixels
// each.
TEST_F(DetectForms, OfWhatTwoPatchesShowOfOneThingAreOfOne) {
  const Arguments command =
      Command(test::CommonNetwork("seg-b2-64"),
              "patch: {enable: true, patches: [[0, 0, 64, 64], [20, 8, 64, 64]]}") +
      Arguments{"--coco", "--output", folder_ / "out", "--overwrite",
                Picture("red.png", test::kRedPixel)};
  const ProgramResult result = RunProgram(command + Arguments{"--merge"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, HasSubstr("red.png: 1920x1080 1 red, "));
  const json row = test::ParseLines(Written("results.jsonl")).at(0);
  EXPECT_EQ(row["bboxes"].size(), 2U);
  ASSERT_EQ(row["things"].size(), 1U);
  EXPECT_EQ(row["things"][0]["bbox"], json({16, 24, 68, 48}));
  EXPECT_EQ(row["things"][0]["pixels"], 928);
  EXPECT_EQ(row["things"][0]["members"], json({0, 1}));
  EXPECT_EQ(row["things"][0]["rle"], row["label_masks"]["0"]["rle"]);
  EXPECT_FALSE(row["things"][0].contains("confirmed"));
  EXPECT_EQ(json::parse(Written("coco_results.json")).size(), 1U);
  EXPECT_EQ(json::parse(Written("summary.json"))["things"], json({{"0", 1}}));
  EXPECT_EQ(json::parse(Written("summary.json"))["detections"], json({{"0", 2}}));

  const ProgramResult plain = RunProgram(command);
  EXPECT_THAT(plain.errors, HasSubstr("red.png: 1920x1080 2 red, "));
  EXPECT_FALSE(test::ParseLines(Written("results.jsonl")).at(0).contains("things"));
  EXPECT_FALSE(json::parse(Written("summary.json")).contains("things"));
  EXPECT_EQ(json::parse(Written("coco_results.json")).size(), 2U);
}

}  // namespace
}  // namespace dirty_seg
