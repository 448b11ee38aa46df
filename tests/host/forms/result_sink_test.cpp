// Forms of results besides results.jsonl: one frame with numbers worked out by hand.
#include "forms/result_sink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>

#include "base/errors.h"
#include "results/run_length.h"
#include "support/pictures.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::ReadFile;

const Labels kLabels({{0, "spill"}, {3, "waste"}}, true);

class Sinks : public testing::Test {
 protected:
  // A spill whose mask goes on right of its box, and waste without a mask.
  Sinks() {
    frame_.source = "pictures/street.png";
    frame_.picture = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kRedPixel));
    record_.source = frame_.source;
    DirtyStatusResultData& result = record_.outcome.result;
    result.bboxes = {{0.0F, 0.0F, 3.0F, 2.0F}, {480.0F, 270.0F, 1440.0F, 2000.0F}};
    result.labels = {0, 3};
    result.scores = {0.5F, 0.25F};
    result.label_masks[0] = cv::Mat::zeros(1080, 1920, CV_8UC1);
    result.label_masks[0](cv::Rect(0, 0, 10, 2)).setTo(255);
  }

  void Write(ResultSink& sink) {
    record_.fit = FitToFrame(frame_.picture->size(), mode_);
    FrameOutcome shown = record_.outcome;
    shown.result = ResultInPicture(record_.outcome.result, record_.fit);
    const Shown listed = record_.things
                             ? ShowThings(*record_.things, record_.fit)
                             : ShowDetections(record_.outcome, shown.result, record_.fit, kLabels);
    sink.Write({frame_, record_, shown, listed, name_, "street", cv::Mat(*frame_.picture)});
  }

  json ReadJson(const std::string& name) { return json::parse(ReadFile(folder_ / name)); }

  test::TemporaryFolder folder_;
  OutputFolder output_{folder_.path(), FolderUse::kNew};
  Frame frame_;
  FitMode mode_ = FitMode::kPad;
  FrameRecord record_;
  std::string name_ = "street";
};

// The mask's columns: 0 zeros, 2 ones, 1078 zeros, 2, 1078, 2, and the rest, as in
// frame_record_test.cpp; of nothing, 1920 * 1080 = 2073600 zeros: 1 11111 01001 00000 00000.
TEST_F(Sinks, WriteCocosResults) {
  const auto sink = MakeCocoSink(output_, kLabels);
  Write(*sink);
  frame_.source = "empty.png";
  record_.outcome.result = {};
  Write(*sink);
  sink->Finish();
  EXPECT_EQ(ReadJson("coco_results.json"), json::parse(R"([
    {"image_id": 1, "category_id": 0, "bbox": [0, 0, 3, 2], "score": 0.5,
     "segmentation": {"size": [1080, 1920], "counts": "02fQ1000hjUo1"}},
    {"image_id": 1, "category_id": 3, "bbox": [480, 270, 960, 1730], "score": 0.25,
     "segmentation": {"size": [1080, 1920], "counts": "PPYo1"}}])"));
  const json images = ReadJson("coco_images.json");
  EXPECT_EQ(images["images"], json::parse(R"([
    {"id": 1, "file_name": "pictures/street.png", "frame": 0, "height": 1080, "width": 1920},
    {"id": 2, "file_name": "empty.png", "frame": 0, "height": 1080, "width": 1920}])"));
  EXPECT_EQ(images["categories"], json::parse(R"([{"id": 0, "name": "spill"},
    {"id": 3, "name": "waste"}, {"id": 19, "name": "faeces"}])"));
  EXPECT_THAT(images["info"]["description"], testing::HasSubstr("cut to its box"));
}

// The first is the network's own class 19, the second was confirmed.
TEST_F(Sinks, TellANativeClass19FromWhatWasConfirmed) {
  record_.outcome.result.labels = {19, 19};
  record_.outcome.result.label_masks[19] = record_.outcome.result.label_masks[0];
  record_.outcome.result.label_masks.erase(0);
  record_.outcome.fece_candidates = {{1, FeceVerdict::kConfirmed, 0.75F}};
  const Labels labels({{0, "spill"}, {19, "cow"}}, true, 80);
  const auto coco = MakeCocoSink(output_, labels);
  const auto polygons = MakePolygonSink(output_, labels);
  const auto yolo = MakeYoloSink(output_, labels);
  for (ResultSink* sink : {coco.get(), polygons.get(), yolo.get()}) {
    Write(*sink);
    sink->Finish();
  }
  EXPECT_EQ(ReadJson("coco_results.json")[0]["category_id"], 19);
  EXPECT_EQ(ReadJson("coco_results.json")[1]["category_id"], 80);
  const json images = ReadJson("coco_images.json");
  EXPECT_EQ(images["categories"], json::parse(R"([{"id": 0, "name": "spill"},
    {"id": 19, "name": "cow"}, {"id": 80, "name": "faeces"}])"));
  EXPECT_THAT(images["info"]["description"],
              testing::EndsWith(" what the classifier confirmed has the category 80."));
  EXPECT_EQ(ReadJson("polygons.jsonl")["label_names"], json::parse(R"({"19": "cow and faeces"})"));
  EXPECT_THAT(ReadFile(folder_ / "labels/street.txt"),
              testing::MatchesRegex("19 [0-9. ]*\n80 [0-9. ]*\n"));
}

TEST_F(Sinks, WriteAnEmptyCocoListOfNothing) {
  MakeCocoSink(output_, kLabels)->Finish();
  EXPECT_EQ(ReadJson("coco_results.json"), json::array());
}

TEST_F(Sinks, WritePolygonsWithTheirHoles) {
  cv::Mat& mask = record_.outcome.result.label_masks[0];
  mask.setTo(0);
  mask(cv::Rect(16, 24, 32, 16)).setTo(255);
  mask(cv::Rect(20, 28, 4, 3)).setTo(0);
  const auto sink = MakePolygonSink(output_, kLabels);
  Write(*sink);
  sink->Finish();
  const json line = ReadJson("polygons.jsonl");
  EXPECT_EQ(line["source"], "pictures/street.png");
  EXPECT_EQ(line["lossy"], true);
  EXPECT_EQ(line["label_names"], json::parse(R"({"0": "spill"})"));
  ASSERT_EQ(line["label_polygons"]["0"].size(), 1U);
  const json polygon = line["label_polygons"]["0"][0];
  EXPECT_EQ(polygon["outer"], json::parse("[[16, 24], [16, 39], [47, 39], [47, 24]]"));
  ASSERT_EQ(polygon["holes"].size(), 1U);
  // The pixels around the hole, its corners cut.
  EXPECT_THAT(polygon["holes"][0],
              testing::UnorderedElementsAre(json({19, 28}), json({19, 30}), json({20, 31}),
                                            json({23, 31}), json({24, 30}), json({24, 28}),
                                            json({23, 27}), json({20, 27})));
}

// Half a pixel is 1 / 3840 of the width and 1 / 2160 of the height.
TEST_F(Sinks, WriteYolosLabels) {
  const auto sink = MakeYoloSink(output_, kLabels);
  Write(*sink);
  EXPECT_EQ(ReadFile(folder_ / "labels/street.txt"),
            "0 0.000260 0.000463 0.000260 0.001389 0.001302 0.001389 0.001302 0.000463\n"
            "3 0.250000 0.250000 0.750000 0.250000 0.750000 1.000000 0.250000 1.000000\n");
  record_.outcome.result = {};
  name_ = "empty";
  Write(*sink);
  EXPECT_TRUE(std::filesystem::is_regular_file(folder_ / "labels/empty.txt"));
  EXPECT_EQ(ReadFile(folder_ / "labels/empty.txt"), "");
}

TEST_F(Sinks, WriteTheLargestAreaInABoxAsYolosPolygon) {
  cv::Mat& mask = record_.outcome.result.label_masks[0];
  mask(cv::Rect(0, 0, 10, 2)).setTo(0);
  mask(cv::Rect(100, 100, 3, 3)).setTo(255);
  mask(cv::Rect(120, 100, 5, 5)).setTo(255);
  record_.outcome.result.bboxes = {{96.0F, 96.0F, 192.0F, 192.0F}};
  record_.outcome.result.labels = {0};
  Write(*MakeYoloSink(output_, kLabels));
  EXPECT_EQ(ReadFile(folder_ / "labels/street.txt"),  // 120.5 / 1920, 100.5 / 1080
            "0 0.062760 0.093056 0.062760 0.096759 0.064844 0.096759 0.064844 0.093056\n");
}

TEST_F(Sinks, WriteCropsNamedAfterTheVerdict) {
  record_.outcome.result.bboxes = {{-5.0F, -5.0F, 3.5F, 2.0F},
                                   {10.0F, 10.0F, 30.0F, 20.0F},
                                   {190.0F, 90.0F, 400.0F, 400.0F},
                                   {300.0F, 0.0F, 400.0F, 100.0F},
                                   {-9.0F, 0.0F, -1.0F, 10.0F}};
  record_.outcome.result.labels = {0, 0, 0, 0, 0};
  record_.outcome.result.scores = {0.5F, 0.5F, 0.5F, 0.5F, 0.5F};
  *frame_.picture = test::Plain({200, 100}, test::kRedPixel);
  frame_.picture->operator()(cv::Rect(10, 10, 20, 10)).setTo(test::kGreenPixel);
  record_.outcome.fece_candidates = {{0, FeceVerdict::kRejected, 0.314F},
                                     {1, FeceVerdict::kConfirmed, 0.999F},
                                     {2, FeceVerdict::kNotChecked, {}},
                                     {4, FeceVerdict::kFailed, {}}};  // outside: no picture
  Write(*MakeCropSink(output_));
  const auto size_of = [this](const char* name) { return cv::imread(folder_ / name).size(); };
  EXPECT_EQ(size_of("street.crop_0.rejected_0.31.png"), cv::Size(4, 2));
  EXPECT_EQ(size_of("street.crop_2.not_checked.png"), cv::Size(10, 10));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "street.crop_4.failed.png"));
  const cv::Mat crop = cv::imread(folder_ / "street.crop_1.confirmed_1.00.png");
  ASSERT_EQ(crop.size(), cv::Size(20, 10));
  EXPECT_EQ(cv::mean(crop), test::kGreenPixel);
}

class SinksOfThings : public Sinks {
 protected:
  // One thing of both detections: two rows of ten pixels, and one pixel below their first.
  SinksOfThings() {
    Thing thing;
    thing.box = {0.0F, 0.0F, 1440.0F, 2000.0F};
    thing.score = 0.5F;
    thing.kind = {19, true};
    thing.members = {0, 1};
    thing.area = {0, 0, 10, 3};
    thing.mask = cv::Mat::zeros(3, 10, CV_8UC1);
    thing.mask.rowRange(0, 2).setTo(255);
    thing.mask.at<std::uint8_t>(2, 0) = 255;
    record_.things = {thing};
    record_.outcome.fece_candidates = {{0, FeceVerdict::kRejected, 0.9F},
                                       {1, FeceVerdict::kConfirmed, 0.75F}};
  }
};

// The mask's columns: 0 zeros, 3 ones, 1077 zeros, then 2 ones and 1078 zeros nine times. As
// differences from two before: 2 - 3, 1078 - 1077, and 0 0 until the rest.
TEST_F(SinksOfThings, WriteOneCocoEntryEach) {
  const auto sink = MakeCocoSink(output_, kLabels);
  Write(*sink);
  sink->Finish();
  const json results = ReadJson("coco_results.json");
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0]["bbox"], json({0, 0, 1440, 2000}));
  EXPECT_EQ(results[0]["category_id"], 19);
  const cv::Mat mask = DecodeRunLengths({1080, 1920, results[0]["segmentation"]["counts"]});
  EXPECT_EQ(cv::countNonZero(mask), 21);
  EXPECT_EQ(mask.at<std::uint8_t>(2, 0), 255);
  EXPECT_EQ(ReadJson("coco_images.json")["info"]["description"],
            "Things that dirty_seg found, in pixels of their picture. What several patches show of "
            "one thing is one entry.");
}

TEST_F(SinksOfThings, WriteOneYoloLineEach) {
  Write(*MakeYoloSink(output_, kLabels));
  const std::string text = ReadFile(folder_ / "labels/street.txt");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
  EXPECT_EQ(text.rfind("19 ", 0), 0U);
}

TEST_F(SinksOfThings, WriteTheirPolygonsBesideThoseOfTheLabels) {
  const auto sink = MakePolygonSink(output_, kLabels);
  Write(*sink);
  sink->Finish();
  const json line = json::parse(ReadFile(folder_ / "polygons.jsonl"));
  EXPECT_EQ(line["label_polygons"].size(), 1U);
  ASSERT_EQ(line["things"].size(), 1U);
  EXPECT_EQ(line["things"][0]["label"], 19);
  EXPECT_EQ(line["things"][0]["confirmed"], true);
  EXPECT_EQ(line["things"][0]["score"], 0.5);
  const json outer = {{0, 0}, {0, 2}, {1, 1}, {9, 1}, {9, 0}};
  EXPECT_EQ(line["things"][0]["polygons"], json({{{"outer", outer}, {"holes", json::array()}}}));
}

TEST_F(SinksOfThings, WriteOneCropEachWithTheVerdictThatDecides) {
  Write(*MakeCropSink(output_));
  EXPECT_EQ(cv::imread(folder_ / "street.crop_0.confirmed_0.75.png").size(), cv::Size(1440, 1080));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "street.crop_0.rejected_0.90.png"));
}

// Each pixel of the frame is four of the picture.
TEST_F(SinksOfThings, AreInThePicturesOwnPixels) {
  mode_ = FitMode::kScale;
  *frame_.picture = test::Plain({3840, 2160}, test::kRedPixel);
  const auto sink = MakeCocoSink(output_, kLabels);
  Write(*sink);
  sink->Finish();
  const json result = ReadJson("coco_results.json")[0];
  EXPECT_EQ(result["bbox"], json({0, 0, 2880, 2160}));
  const cv::Mat mask = DecodeRunLengths({2160, 3840, result["segmentation"]["counts"]});
  EXPECT_EQ(cv::countNonZero(mask), 84);
  EXPECT_EQ(cv::countNonZero(mask(cv::Rect(0, 4, 2, 2))), 4);
}

// A picture of twice the frame's size: boxes and masks are twice as large, and so are shares the
// same.
TEST_F(Sinks, WriteEachFormInThePicturesOwnPixels) {
  mode_ = FitMode::kScale;
  *frame_.picture = test::Plain({3840, 2160}, test::kRedPixel);
  record_.outcome.fece_candidates = {{1, FeceVerdict::kConfirmed, 1.0F}};
  for (const auto& sink : {MakeCocoSink(output_, kLabels), MakePolygonSink(output_, kLabels),
                           MakeYoloSink(output_, kLabels), MakeCropSink(output_)}) {
    Write(*sink);
    sink->Finish();
  }
  const json image = ReadJson("coco_images.json")["images"][0];
  EXPECT_EQ(image["width"], 3840);
  EXPECT_EQ(image["height"], 2160);
  const json result = ReadJson("coco_results.json")[0];
  EXPECT_EQ(result["bbox"], json({0, 0, 6, 4}));
  const json& segmentation = result["segmentation"];
  EXPECT_EQ(segmentation["size"], json({2160, 3840}));
  const cv::Mat mask = DecodeRunLengths({2160, 3840, segmentation["counts"]});
  EXPECT_EQ(cv::boundingRect(mask), cv::Rect(0, 0, 6, 4));
  EXPECT_EQ(ReadJson("polygons.jsonl")["label_polygons"]["0"][0]["outer"],
            json::parse("[[0, 0], [0, 3], [19, 3], [19, 0]]"));
  EXPECT_THAT(ReadFile(folder_ / "labels/street.txt"),
              testing::HasSubstr("\n3 0.250000 0.250000 0.750000 0.250000 0.750000 1.000000 "));
  EXPECT_EQ(cv::imread(folder_ / "street.crop_1.confirmed_1.00.png").size(), cv::Size(1920, 1620));
}

TEST_F(Sinks, LeaveOutWhatIsFoundBesideThePicture) {
  *frame_.picture = test::Plain({400, 200}, test::kRedPixel);  // the second box lies right of it
  const auto coco = MakeCocoSink(output_, kLabels);
  const auto yolo = MakeYoloSink(output_, kLabels);
  Write(*coco);
  Write(*yolo);
  coco->Finish();
  const json results = ReadJson("coco_results.json");
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0]["category_id"], 0);
  const std::string lines = ReadFile(folder_ / "labels/street.txt");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1);
}

TEST_F(Sinks, WriteOneVideoAnInput) {
  *frame_.picture = test::Plain({200, 100}, test::kRedPixel);
  const auto sink = MakeVideoSink(output_);
  Write(*sink);  // a picture, of which none is made
  frame_.kind = InputKind::kVideo;
  frame_.rate = 12.5;
  frame_.input = 1;
  for (int i = 0; i < 3; ++i) Write(*sink);
  sink->Finish();
  const test::VideoContent video = test::ReadVideo(folder_ / "street.overlay.mp4");
  EXPECT_EQ(video.rate, 12.5);
  ASSERT_EQ(video.frames.size(), 3U);
  EXPECT_EQ(video.frames[0].size(), cv::Size(200, 100));
  EXPECT_NEAR(cv::mean(video.frames[2])[2], 255.0, 3.0);  // of JPEG
}

TEST_F(Sinks, RefuseAVideosFrameOfAnotherSize) {
  const auto sink = MakeVideoSink(output_);
  frame_.kind = InputKind::kVideo;
  Write(*sink);
  *frame_.picture = test::Plain({100, 100}, test::kRedPixel);
  EXPECT_EQ(test::RejectionOf<InputError>([&] { Write(*sink); }),
            "the annotated video keeps its first frame's size, and this frame has another");
}

}  // namespace
}  // namespace dirty_seg
