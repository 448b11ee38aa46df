// Thresholds and classes of one run: what the command line says over the configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "support/detect_fixture.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::CommonNetwork;
using test::operator+;
using test::ReadFile;
using test::RunProgram;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Class 0, red, scores 153 / 255 = 0.6 in both patches, and class 1, green, 204 / 255 = 0.8.
const cv::Scalar kGreenAndRed(0, 204, 153);

class Thresholds : public test::DetectFixture {
 protected:
  json LabelsFor(const Arguments& options, const std::string& postprocess = "{}") {
    const auto result = RunProgram(Arguments{"detect"} + Common(postprocess) + options);
    EXPECT_EQ(result.status, 0) << result.errors;
    errors_ = result.errors;
    return json::parse(result.output)["labels"];
  }

  json SideFor(const Arguments& options) {
    const auto result = RunProgram(Arguments{"bench", "--json", "--rounds", "1", "--warmup", "0"} +
                                   Common() + options);
    EXPECT_EQ(result.status, 0) << result.errors;
    errors_ = result.errors;
    return json::parse(result.output)["a"];
  }

  Arguments Common(const std::string& postprocess = "{}") {
    return {"--model", CommonNetwork("seg-b2-64"), "--config",
            folder_.Write("config.yaml", test::kPatches + ("postprocess: " + postprocess + "\n")),
            Picture("a.png", kGreenAndRed)};
  }

  std::string errors_;
};

const json kBoth = {1, 1};
const json kNone = json::array();
const std::string kNoSuchClass =
    ": the segmentation network has no such class, so it has no effect; expected class ids from 0 "
    "to 1\n";

TEST_F(Thresholds, OfTheRunStandOverTheFiles) {
  EXPECT_EQ(LabelsFor({}), kBoth);
  EXPECT_THAT(errors_, IsEmpty());
  EXPECT_EQ(LabelsFor({}, "{score_threshold: 0.9}"), kNone);
  EXPECT_EQ(LabelsFor({"--conf", "0.75"}, "{score_threshold: 0.9}"), kBoth);
  EXPECT_EQ(LabelsFor({"--conf", "0.75"}, "{score_thresholds: {1: 0.9}}"), kBoth);
  EXPECT_EQ(LabelsFor({"--iou", "0.1"}, "{score_thresholds: {1: 0.9}}"), kNone);
}

// Red is nowhere the best class.
TEST_F(Thresholds, ClassesAreChosenByTheBestOfEachPlace) {
  EXPECT_EQ(LabelsFor({"--classes", "0"}), kNone);
  EXPECT_EQ(LabelsFor({"--classes", "1"}, "{classes: [0]}"), kBoth);
  EXPECT_EQ(LabelsFor({}, "{classes: [0]}"), kNone);
}

TEST_F(Thresholds, MayStandInAHostFile) {
  const std::string host = folder_.Write("host.yaml", "conf: 0.9\ndetect:\n  classes: [1]\n");
  EXPECT_EQ(LabelsFor({"--host", host}), kNone);
  EXPECT_EQ(LabelsFor({"--host", host, "--conf", "0.5"}), kBoth);
}

TEST_F(Thresholds, HoldForADump) {
  const auto dumped = RunProgram(Arguments{"dump", "--output", folder_ / "dump", "--conf", "0.9"} +
                                 Common("{score_thresholds: {1: 0.1}, iou_threshold: 0.6}"));
  EXPECT_EQ(dumped.status, 0) << dumped.errors;
  const json dump = json::parse(ReadFile(folder_ / "dump/dump.json"));
  EXPECT_EQ(dump["config"], folder_ / "config.yaml");
  EXPECT_EQ(dump["postprocess"], json::parse(R"({"score_threshold": 0.9, "iou_threshold": 0.6,
      "max_detections": 300, "class_agnostic": false, "mask_threshold": 0.5,
      "score_thresholds": {}})"));
  EXPECT_EQ(dump["detections"], kNone);
}

TEST_F(Thresholds, StandBesideWhatABenchMeasuresWithThem) {
  EXPECT_FALSE(SideFor({}).contains("thresholds"));
  EXPECT_EQ(SideFor({"--max-det", "7"})["thresholds"],
            json::parse(R"({"score_threshold": 0.25, "iou_threshold": 0.7, "max_detections": 7,
      "class_agnostic": false, "mask_threshold": 0.5, "score_thresholds": {}})"));
  SideFor({"--classes", "7"});
  EXPECT_THAT(errors_, HasSubstr("--classes names class 7"));
}

TEST_F(Thresholds, OfClassesThatTheNetworkLacksAreWarnedOf) {
  LabelsFor({"--classes", "1,2"}, "{classes: [5], score_thresholds: {3: 0.5}}");
  const std::string config = folder_ / "config.yaml";
  EXPECT_EQ(errors_, "dirty_seg: warning: '" + config +
                         "': postprocess.score_thresholds names class 3" + kNoSuchClass +
                         "dirty_seg: warning: --classes names class 2" + kNoSuchClass);
  LabelsFor({}, "{classes: [1, 5]}");
  EXPECT_EQ(errors_, "dirty_seg: warning: '" + config + "': postprocess.classes names class 5" +
                         kNoSuchClass);
}

TEST_F(Thresholds, ThatLeaveTheClassifiersClassesOutAreWarnedOf) {
  LabelsFor(Classifier(CommonNetwork("classifier-224"), "0,1") + Arguments{"--classes", "1"});
  EXPECT_EQ(errors_,
            "dirty_seg: warning: --fece-class-ids 0: the class is not among those that are kept, "
            "so it has no effect\n");
}

// The detector reads another file then; the user's is the one to name.
TEST_F(Thresholds, KeepTheUsersFileInMessages) {
  for (const char* command : {"detect", "dump", "bench"}) {
    Arguments arguments = Arguments{command, "--conf", "0.5"} + Common();
    arguments.at(4) = CommonNetwork("boxes-only");
    EXPECT_THAT(RefusalOf(arguments),
                AllOf(HasSubstr("boxes-only.onnx' with '" + folder_ / "config.yaml" + "': "),
                      Not(HasSubstr("/proc"))));
  }
}

}  // namespace
}  // namespace dirty_seg
