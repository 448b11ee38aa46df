// Grids worked out by hand, and the files written from them.
#include "config/starter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include "base/errors.h"
#include "config/config_check.h"
#include "config/patch_fit.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Grid, IsReadFromColumnsAndRows) {
  ASSERT_TRUE(ParseGrid("3x2").has_value());
  EXPECT_EQ(ParseGrid("3x2")->columns, 3);
  EXPECT_EQ(ParseGrid("3x2")->rows, 2);
  EXPECT_EQ(ParseGrid("64x1")->count(), 64);
  for (const char* text : {"", "3", "3x", "x2", "0x2", "3x65", "3X2", "3x2x1", "-3x2", "3 x 2"}) {
    EXPECT_FALSE(ParseGrid(text).has_value()) << text;
  }
}

// Three of 640 without overlap; two rows of 540 need (540 + 540): 640 x 540 is whole, since
// 640 - 540 is even.
TEST(LayOutGrid, TakesTheExactSizeWhereItIsWhole) {
  EXPECT_THAT(LayOutGrid({3, 2}, 0, 640),
              ElementsAre(cv::Rect(0, 0, 640, 540), cv::Rect(640, 0, 640, 540),
                          cv::Rect(1280, 0, 640, 540), cv::Rect(0, 540, 640, 540),
                          cv::Rect(640, 540, 640, 540), cv::Rect(1280, 540, 640, 540)));
}

TEST(LayOutGrid, OfOneCellIsTheFrame) {
  EXPECT_THAT(LayOutGrid({1, 1}, 80, 640), ElementsAre(cv::Rect(0, 0, 1920, 1080)));
}

TEST(LayOutGrid, LeavesNoGapSharesTheOverlapAndFillsTheSquare) {
  for (const int side : {64, 320, 416, 640, 1280}) {
    for (const Grid& grid : {Grid{3, 2}, Grid{2, 2}, Grid{4, 3}, Grid{1, 2}, Grid{6, 1}}) {
      for (const int overlap : {0, 1, 80, 137}) {
        SCOPED_TRACE(GridText(grid) + " " + std::to_string(overlap) + " " + std::to_string(side));
        const std::vector<cv::Rect> patches = LayOutGrid(grid, overlap, side);
        ASSERT_EQ(patches.size(), static_cast<std::size_t>(grid.count()));
        EXPECT_EQ(CoverFrame(patches).gap_share, 0.0);
        EXPECT_TRUE(FitPatch(patches[0].size(), side).is_whole);
        EXPECT_EQ(patches.back().br(), cv::Point(1920, 1080));
        const int shared = patches[0].br().x - patches.at(1).x;
        EXPECT_TRUE(grid.columns == 1 || shared >= overlap) << shared;
      }
    }
  }
}

TEST(LayOutGrid, RefusesAnOverlapThatTheFrameHasNoRoomFor) {
  EXPECT_THAT(test::RejectionOf<SetupError>([] {
                LayOutGrid({3, 2}, 1080, 640);
              }),
              HasSubstr("--grid 3x2 --overlap 1080: no patch size of the frame fills"));
}

TEST(GridsThatFit, TakeNoMoreSlotsThanThereAre) {
  for (const int slots : {1, 2, 6}) {
    const std::vector<Grid> grids = GridsThatFit(slots, 80, 640);
    ASSERT_FALSE(grids.empty());
    for (const Grid& grid : grids) EXPECT_LE(grid.count(), slots);
  }
  EXPECT_EQ(GridText(GridsThatFit(6, 80, 640)[0]), "3x2");
  EXPECT_EQ(GridText(GridsThatFit(2, 80, 640)[0]), "2x1");
}

TEST(DefaultGrid, FillsAFixedBatch) {
  EXPECT_EQ(GridText(DefaultGrid(640, 1, 80)), "1x1");
  EXPECT_EQ(GridText(DefaultGrid(640, 2, 80)), "2x1");
  EXPECT_EQ(GridText(DefaultGrid(640, 6, 80)), "3x2");
  EXPECT_EQ(GridText(DefaultGrid(320, 6, 80)), "3x2");
}

// 3x2 of 694 x 582 are shrunk to one pixel of 2.17 at 320, 4x2 of about 540 x 580 to one of 1.8.
TEST(DefaultGrid, OfAnOpenBatchShrinksTwofoldAtMost) {
  EXPECT_EQ(GridText(DefaultGrid(640, std::nullopt, 80)), "3x2");
  EXPECT_EQ(GridText(DefaultGrid(320, std::nullopt, 80)), "4x2");
}

TEST(FeceClassesByName, GoesByTheNames) {
  EXPECT_THAT(FeceClassesByName({{0, "spill"}, {3, "Dog faeces"}, {4, "poop"}}, 5),
              ElementsAre(3, 4));
  EXPECT_THAT(FeceClassesByName({{0, "red"}, {1, "face"}}, 2), IsEmpty());
  EXPECT_THAT(FeceClassesByName({}, 3), IsEmpty());
}

// Of any side and batch: 64 patches at the most, and what a network of the field has.
TEST(StarterConfig, OfTheDefaultGridIsWithoutAFinding) {
  const test::TemporaryFolder folder;
  for (const int side : {224, 256, 320, 416, 512, 640, 768, 960, 1024, 1280}) {
    for (const int batch : {0, 1, 2, 3, 4, 6, 8, 12, 16}) {
      SCOPED_TRACE(std::to_string(side) + " " + std::to_string(batch));
      const auto fixed = batch == 0 ? std::nullopt : std::optional<int>(batch);
      const Grid grid = DefaultGrid(side, fixed, 80);
      const std::string path =
          folder.Write("config.yaml", StarterConfig(LayOutGrid(grid, 80, side), GridText(grid)));
      ConfigCheck check = CheckConfig(path);
      CheckFit(side, fixed, check);
      EXPECT_TRUE(check.findings.empty()) << CheckText(path, check);
    }
  }
}

TEST(StarterConfig, IsWithoutAFinding) {
  const test::TemporaryFolder folder;
  const std::string path =
      folder.Write("config.yaml", StarterConfig(LayOutGrid({3, 2}, 80, 640), "a grid of 3x2"));
  ConfigCheck check = CheckConfig(path);
  CheckFit(640, std::nullopt, check);
  EXPECT_TRUE(check.findings.empty()) << CheckText(path, check);
  EXPECT_EQ(check.patches.size(), 6U);
  const YAML::Node root = YAML::LoadFile(path);
  EXPECT_EQ(root["postprocess"].size(), 5U);
  EXPECT_EQ(root["postprocess"]["score_threshold"].as<float>(), 0.25F);
  EXPECT_EQ(root["postprocess"]["max_detections"].as<int>(), 300);
  EXPECT_EQ(root["postprocess"]["class_agnostic"].as<bool>(), false);
}

// What is left out by default stands there to be uncommented.
TEST(StarterConfig, HasKeysOfClassesAsComments) {
  std::string text = StarterConfig({{0, 0, 1920, 1080}}, "one");
  for (const std::string line : {"  # score_thresholds: {3: 0.4}\n", "  # classes: [0, 3]\n"}) {
    const std::size_t at = text.find(line);
    ASSERT_NE(at, std::string::npos) << text;
    text.erase(at + 2, 2);
  }
  const YAML::Node postprocess = YAML::Load(text)["postprocess"];
  EXPECT_EQ(postprocess["score_thresholds"][3].as<float>(), 0.4F);
  EXPECT_EQ(postprocess["classes"][1].as<int>(), 3);
}

TEST(StarterHost, SurvivesNamesWithASpecialMeaning) {
  StarterNetworks networks;
  networks.model = "a: #b.onnx";
  networks.class_names = {{0, "line\nbreak: x"}, {1, "green"}};
  networks.fece_model = "f.onnx";
  networks.fece_class_ids = {0, 1};
  const YAML::Node root = YAML::Load(StarterHost(networks, "config.yaml"));
  EXPECT_EQ(root["model"].as<std::string>(), "a: #b.onnx");
  EXPECT_EQ(root["config"].as<std::string>(), "config.yaml");
  EXPECT_EQ(root["fece-model"].as<std::string>(), "f.onnx");
  EXPECT_EQ(root["fece-class-ids"][1].as<int>(), 1);
  EXPECT_EQ(root["merge"].as<std::string>(), "true");
  EXPECT_EQ(root.size(), 5U);
}

TEST(StarterHost, LeavesTheClassifierInAComment) {
  StarterNetworks networks;
  networks.model = "seg.onnx";
  const YAML::Node root = YAML::Load(StarterHost(networks, "config.yaml"));
  EXPECT_EQ(root.size(), 3U);
}

}  // namespace
}  // namespace dirty_seg
