// Init: engines that fail, files that are wrong, and what is left then.
#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <map>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/init_fixture.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

namespace script = scripted_engine;

Names NamesOf(const std::map<std::string, AIBuff>& buffers) {
  Names names;
  for (const auto& [name, buffer] : buffers) names.push_back(name);
  return names;
}

// --- Failing engines ---

TEST_F(Init, FailedSegmentationEngineIsToldAtInfoLevel) {
  script::GetScript().init_statuses = {-1};

  EXPECT_FALSE(detector.Init(Config("{}")));

  EXPECT_EQ(log.GetLines(), Lines{kSegmentationFailed});
}

TEST_F(Init, EveryNegativeStatusIsAFailure) {
  for (int status : {-1, -2, -2147483647 - 1}) {
    script::GetScript().init_statuses = {status};
    EXPECT_FALSE(detector.Init(Config("{}"))) << status;
  }
}

TEST_F(Init, FailedSegmentationEngineLeavesOnlyConfigurationAndEngine) {
  script::GetScript().init_statuses = {-1};
  DirtySegDetectorConfig config = Config(kTwoPatches);
  config.fece_enable = true;

  EXPECT_FALSE(detector.Init(config));

  EXPECT_NE(detector.config_, nullptr);
  EXPECT_NE(detector.dirty_seg_engine_, nullptr);
  EXPECT_TRUE(detector.dirty_seg_inputs_.empty());
  EXPECT_TRUE(detector.dirty_seg_outputs_.empty());
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
  EXPECT_TRUE(detector.patches_.empty());
  EXPECT_EQ(detector.fece_engine_, nullptr);
  EXPECT_EQ(script::Operations(), (Names{script::kMakeEngine, script::kInit}));
}

TEST_F(Init, FailedSegmentationEngineLeavesTheFileUnread) {
  script::GetScript().init_statuses = {-1};
  DirtySegDetectorConfig config = Config("{}");
  config.yaml_config_path = folder.Path("missing.yaml");

  EXPECT_NO_THROW(EXPECT_FALSE(detector.Init(config)));
}

TEST_F(Init, FailedSecondInitKeepsBuffersPatchesAndPostprocessor) {
  ASSERT_TRUE(detector.Init(Config(kTwoPatches)));
  const auto engine = detector.dirty_seg_engine_;
  const auto postprocess = detector.yolov8_postprocess_;
  const auto input = detector.dirty_seg_inputs_.at("images").data;
  const auto output = detector.dirty_seg_outputs_.at("output0").data;

  script::GetScript().init_statuses = {-1};
  DirtySegDetectorConfig config = Config(kTwoPatches);
  config.robot_id = "second";
  EXPECT_FALSE(detector.Init(config));

  EXPECT_EQ(detector.config_->robot_id, "second");
  EXPECT_NE(detector.dirty_seg_engine_, engine);
  EXPECT_EQ(detector.yolov8_postprocess_, postprocess);
  EXPECT_EQ(detector.dirty_seg_inputs_.at("images").data, input);
  EXPECT_EQ(detector.dirty_seg_outputs_.at("output0").data, output);
  EXPECT_EQ(detector.patches_.size(), 2U);
}

TEST_F(Init, FailedFeceEngineIsToldAtInfoLevel) {
  script::GetScript().init_statuses = {0, -3};
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;

  EXPECT_FALSE(detector.Init(config));

  EXPECT_EQ(log.GetLines(), (Lines{kSegmentationReady, kFeceFailed}));
}

TEST_F(Init, FailedFeceEngineLeavesSegmentationReadyAndTheFileUnread) {
  script::GetScript().init_statuses = {0, -3};
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  config.yaml_config_path = folder.Path("missing.yaml");

  EXPECT_FALSE(detector.Init(config));

  EXPECT_NE(detector.dirty_seg_engine_, nullptr);
  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), Names{"images"});
  EXPECT_EQ(NamesOf(detector.dirty_seg_outputs_), Names{"output0"});
  EXPECT_NE(detector.fece_engine_, nullptr);
  EXPECT_TRUE(detector.fece_inputs_.empty());
  EXPECT_TRUE(detector.fece_outputs_.empty());
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
  EXPECT_TRUE(detector.patches_.empty());
}

TEST_F(Init, FailedSecondSegmentationEngineLeavesTheClassifierAndTheCrops) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  ASSERT_TRUE(detector.Init(config));
  detector.crop_images_["crop_0"] = cv::Mat(1, 1, CV_8UC3);
  const auto engine = detector.fece_engine_;
  const auto input = detector.fece_inputs_.at("input").data;

  script::GetScript().init_statuses = {-1};
  EXPECT_FALSE(detector.Init(config));

  EXPECT_EQ(detector.fece_engine_, engine);
  EXPECT_EQ(detector.fece_inputs_.at("input").data, input);
  EXPECT_EQ(detector.crop_images_.count("crop_0"), 1U);
}

TEST_F(Init, FailedSecondFeceEngineKeepsItsBuffersPatchesAndPostprocessor) {
  DirtySegDetectorConfig config = Config(kTwoPatches);
  config.fece_enable = true;
  ASSERT_TRUE(detector.Init(config));
  const auto engine = detector.fece_engine_;
  const auto postprocess = detector.yolov8_postprocess_;
  const auto input = detector.fece_inputs_.at("input").data;
  const auto output = detector.fece_outputs_.at("output").data;

  script::GetScript().init_statuses = {0, -1};
  EXPECT_FALSE(detector.Init(config));

  EXPECT_NE(detector.fece_engine_, engine);
  EXPECT_EQ(detector.yolov8_postprocess_, postprocess);
  EXPECT_EQ(detector.fece_inputs_.at("input").data, input);
  EXPECT_EQ(detector.fece_outputs_.at("output").data, output);
  EXPECT_EQ(detector.patches_.size(), 2U);
}

// --- Exceptions ---

TEST_F(Init, ExceptionOfEitherEnginePassesThrough) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  const std::vector<Lines> lines{{}, {kSegmentationReady}};
  for (std::size_t ready = 0; ready < lines.size(); ++ready) {
    log.Clear();
    script::GetScript().on_init = [count = ready]() mutable {
      if (count-- == 0) throw std::runtime_error("engine");
    };

    EXPECT_THROW(detector.Init(config), std::runtime_error);

    EXPECT_EQ(log.GetLines(), lines[ready]);
  }
}

TEST_F(Init, MissingFileThrowsBadFileAfterBothEnginesAreReady) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  config.yaml_config_path = folder.Path("missing.yaml");

  EXPECT_THROW(detector.Init(config), YAML::BadFile);

  EXPECT_EQ(log.GetLines(), (Lines{kSegmentationReady, kFeceReady}));
  EXPECT_EQ(NamesOf(detector.fece_outputs_), Names{"output"});
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
}

TEST_F(Init, MalformedFileThrowsParserException) {
  EXPECT_THROW(detector.Init(Config("patch: [1, 2")), YAML::ParserException);

  EXPECT_EQ(log.GetLines(), Lines{kSegmentationReady});
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
}

TEST_F(Init, MissingEnableThrowsTypedBadConversion) {
  EXPECT_THROW(detector.Init(Config("patch: {patches: [[1, 2, 3, 4]]}")),
               YAML::TypedBadConversion<bool>);
  EXPECT_THROW(detector.Init(Config("patch:")), YAML::TypedBadConversion<bool>);

  EXPECT_TRUE(detector.patches_.empty());
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
}

TEST_F(Init, EnableThatIsNoBooleanThrowsTypedBadConversion) {
  for (const char* value : {"maybe", "1", "[true]", ""}) {
    EXPECT_THROW(detector.Init(Config(std::string("patch: {enable: ") + value + "}")),
                 YAML::TypedBadConversion<bool>)
        << value;
  }
}

TEST_F(Init, ScalarEntryThrowsBadSubscript) {
  EXPECT_THROW(detector.Init(Config("patch: {enable: true, patches: [[1, 2, 3, 4], 5]}")),
               YAML::BadSubscript);

  EXPECT_EQ(detector.patches_, (Rects{{1, 2, 3, 4}}));
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
}

TEST_F(Init, ScalarRootOrPatchThrowsBadSubscript) {
  EXPECT_THROW(detector.Init(Config("just text")), YAML::BadSubscript);
  EXPECT_THROW(detector.Init(Config("patch: 5")), YAML::BadSubscript);
}

TEST_F(Init, ShortEntryThrowsAndKeepsTheEntriesBeforeIt) {
  EXPECT_THROW(
      detector.Init(Config("patch: {enable: true, patches: [[1, 2, 3, 4], [10, 20, 300]]}")),
      YAML::TypedBadConversion<int>);

  EXPECT_EQ(detector.patches_, (Rects{{1, 2, 3, 4}}));
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
  EXPECT_EQ(log.GetLines(), Lines{kSegmentationReady});
}

TEST_F(Init, EveryMissingElementThrowsTypedBadConversion) {
  for (const char* entry : {"[]", "[1]", "[1, 2]", "[1, 2, 3]", "~"}) {
    EXPECT_THROW(
        detector.Init(Config(std::string("patch: {enable: true, patches: [") + entry + "]}")),
        YAML::TypedBadConversion<int>)
        << entry;
  }
}

TEST_F(Init, ElementThatIsNoIntegerThrowsTypedBadConversion) {
  for (const char* entry : {"[a, 2, 3, 4]", "[1, 2.5, 3, 4]", "[1, 2, 3000000000, 4]",
                            "[1, 2, 3, [4]]", "[1, 2, 3, ~]"}) {
    EXPECT_THROW(
        detector.Init(Config(std::string("patch: {enable: true, patches: [") + entry + "]}")),
        YAML::TypedBadConversion<int>)
        << entry;
  }
}

TEST_F(Init, PostprocessorThatThrowsLeavesTheEarlierOne) {
  ASSERT_TRUE(detector.Init(Config("{}")));
  const auto earlier = detector.yolov8_postprocess_;
  log.Clear();

  script::GetScript().on_make_postprocess = [] { throw std::invalid_argument("no head"); };
  EXPECT_THROW(detector.Init(Config(kTwoPatches)), std::invalid_argument);

  EXPECT_EQ(detector.yolov8_postprocess_, earlier);
  EXPECT_EQ(detector.patches_.size(), 2U);
  EXPECT_EQ(log.GetLines(), Lines{kSegmentationReady});
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
