// What inspecting a network shows. Numbers are those that tests/networks/make_test_networks.py
// gives its networks: seg-b2-64 has 84 anchors of 4 + 2 + 32 channels.
#include "networks/network_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "networks/config_code.h"
#include "support/paths.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::CommonNetwork;
using test::HostNetwork;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;

TEST(NetworkReport, OfASegmentationNetworkTellsItsHead) {
  const NetworkReport report = InspectNetwork(CommonNetwork("seg-b2-64"), 1, 3);
  EXPECT_EQ(report.fault, "");
  EXPECT_EQ(report.Role(), "segmentation network");
  ASSERT_TRUE(report.head.has_value());
  EXPECT_EQ(report.head->classes, 2);
  EXPECT_EQ(report.head->anchors, 84);
  EXPECT_EQ(report.head->coefficients, 32);
  EXPECT_EQ(report.classifier.fault, "has inputs 'images'; expected the one input 'input'");
  EXPECT_EQ(report.config()->thread_count, 3);
  const std::string text = ReportText(report);
  EXPECT_THAT(text, HasSubstr("  classes     0 red, 1 green\n"));
  EXPECT_THAT(text, HasSubstr("  metadata    task: segment\n"));
  EXPECT_THAT(text, HasSubstr("  segments    yes: batch 2, input 64 x 64, 2 classes, 84 anchors, "
                              "32 prototypes\n"));
}

TEST(NetworkReport, ClosesAnOpenBatch) {
  const NetworkReport report = InspectNetwork(CommonNetwork("seg-dynamic"), 3, 0);
  EXPECT_EQ(report.head->batch, 3);
  EXPECT_THAT(report.config()->input_shapes.at("images"), ElementsAre(3, 3, 640, 640));
}

TEST(NetworkReport, OfANetworkOfBatchOneSaysThatItTakesAnyNumberOfPatches) {
  const NetworkReport report = InspectNetwork(CommonNetwork("seg-b1-64"), 6, 0);
  EXPECT_THAT(ReportText(report), HasSubstr("  segments    yes: batch 6 (any number of patches), "
                                            "input 64 x 64, 2 classes"));
  const json head = json::parse(ReportJson(report).dump())["segmentation"];
  EXPECT_EQ(head["batch"], 6);
  EXPECT_EQ(head["takes_any_batch"], true);
}

TEST(NetworkReport, OfAClassifierSaysWhyItDoesNotSegment) {
  const NetworkReport report = InspectNetwork(CommonNetwork("classifier-224"), 1, 0);
  EXPECT_EQ(report.Role(), "classifier");
  EXPECT_EQ(
      report.segmentation.fault,
      "not a YOLOv8 segmentation network: no output has rank 4, the prototypes; found 'output' "
      "[1, 2]");
  EXPECT_THAT(ReportText(report), HasSubstr("  classifies  yes\n"));
}

TEST(NetworkReport, OfAnotherNetworkSaysWhyItDoesNeither) {
  const NetworkReport report = InspectNetwork(CommonNetwork("classifier-112"), 1, 0);
  EXPECT_EQ(report.Role(), "neither segmentation network nor classifier");
  EXPECT_EQ(report.classifier.fault,
            "input 'input' is float32 [1, 3, 112, 112]; expected float32 [1, 3, 224, 224]");
  ASSERT_NE(report.config(), nullptr);
  EXPECT_THAT(report.config()->input_shapes.at("input"), ElementsAre(1, 3, 112, 112));
}

TEST(NetworkReport, TellsTheEnginesCauseInPlaceOfAHint) {
  testing::internal::CaptureStderr();
  const NetworkReport report = InspectNetwork("missing.onnx", 1, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(report.fault, "cannot be opened: No such file or directory");
  EXPECT_EQ(report.segmentation.fault, report.fault);
  EXPECT_EQ(report.classifier.fault, report.fault);
  EXPECT_EQ(report.config(), nullptr);
  EXPECT_EQ(ReportText(report),
            "missing.onnx\n  unusable    cannot be opened: No such file or directory\n");
}

TEST(NetworkReport, AsJsonHasNumbersForKnownDimensions) {
  const json report =
      json::parse(ReportJson(InspectNetwork(CommonNetwork("seg-dynamic"), 2, 0)).dump());
  EXPECT_EQ(report["inputs"][0]["shape"], json::parse(R"(["batch", 3, "height", "width"])"));
  EXPECT_EQ(report["class_names"], json::parse(R"({"0": "red", "1": "green"})"));
  EXPECT_EQ(report["segmentation"]["usable"], true);
  EXPECT_EQ(report["segmentation"]["input_side"], 640);
  EXPECT_EQ(report["classifier"]["usable"], false);
  EXPECT_THAT(report["classifier"]["reason"].get<std::string>(), StartsWith("has inputs"));
  EXPECT_EQ(report["config"]["input_shapes"]["images"], json::parse("[2, 3, 640, 640]"));
}

TEST(NetworkReport, WaitsForNoPipe) {
  const test::TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe.onnx").c_str(), 0600), 0);
  EXPECT_THAT(InspectNetwork(folder / "pipe.onnx", 1, 1).fault,
              testing::HasSubstr("is not a regular file"));
}

TEST(ConfigYaml, IsReadBackAsWritten) {
  nuvik::alg::common::AIEngineConfig config;
  config.model_path = "a \"b\": #c\n";
  config.input_sizes["yes: [1]"] = 5;
  config.input_shapes["yes: [1]"] = {1, 2};
  const YAML::Node root = YAML::Load(ConfigYaml(config));
  EXPECT_EQ(root["model_path"].as<std::string>(), config.model_path);
  EXPECT_EQ(root["input_sizes"]["yes: [1]"].as<int>(), 5);
  EXPECT_EQ(root["input_shapes"]["yes: [1]"][1].as<int>(), 2);
  EXPECT_EQ(root["output_sizes"].size(), 0U);
}

TEST(ConfigCpp, EscapesWhatACompilerWouldTakeForSomethingElse) {
  nuvik::alg::common::AIEngineConfig config;
  config.model_path = "a\"b\\c?\n9";
  EXPECT_THAT(ConfigCpp(config, "c"), HasSubstr(R"(c.model_path = "a\"b\\c\?\0129";)"));
}

TEST(VariableName, FollowsTheFiles) {
  EXPECT_EQ(VariableName("models/dirt-seg.onnx"), "dirt_seg_config");
  EXPECT_EQ(VariableName("8n.v2.onnx"), "net_8n_v2_config");
  EXPECT_EQ(VariableName("/"), "net__config");
}

}  // namespace
}  // namespace dirty_seg
