// Init: steps and their order, the copy of the configuration, the fece switch, a second call.
#include <cstddef>
#include <map>
#include <memory>
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

// --- Steps and their order ---

TEST_F(Init, MakesTheSegmentationEngineThenThePostprocessor) {
  EXPECT_TRUE(detector.Init(Config("{}")));

  EXPECT_EQ(script::Operations(),
            (Names{script::kMakeEngine, script::kInit, script::kMakePostprocess}));
}

TEST_F(Init, MakesTheFeceEngineBetweenSegmentationAndPostprocessor) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(script::Operations(), (Names{script::kMakeEngine, script::kInit, script::kMakeEngine,
                                         script::kInit, script::kMakePostprocess}));
  EXPECT_EQ(script::Calls()[1].model_path, "segmentation.model");
  EXPECT_EQ(script::Calls()[3].model_path, "fece.model");
}

TEST_F(Init, LogsSuccessThenTheModelPathLast) {
  EXPECT_TRUE(detector.Init(Config("{}")));

  EXPECT_EQ(log.GetLines(), (Lines{kSegmentationReady, kModelPath}));
}

TEST_F(Init, LogsTheFeceEngineToo) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(log.GetLines(), (Lines{kSegmentationReady, kFeceReady, kModelPath}));
}

TEST_F(Init, SuccessOfEachEngineIsLoggedBeforeTheNextStep) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  std::vector<Lines> seen;
  script::GetScript().on_init = [&] { seen.push_back(log.GetLines()); };
  script::GetScript().on_make_postprocess = [&] { seen.push_back(log.GetLines()); };

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(seen, (std::vector<Lines>{{}, {kSegmentationReady}, {kSegmentationReady, kFeceReady}}));
}

TEST_F(Init, NoBufferIsMadeBeforeItsEngineIsReady) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  std::vector<std::size_t> segmentation_buffers;
  std::vector<std::size_t> fece_buffers;
  script::GetScript().on_init = [&] {
    segmentation_buffers.push_back(detector.dirty_seg_inputs_.size() +
                                   detector.dirty_seg_outputs_.size());
    fece_buffers.push_back(detector.fece_inputs_.size() + detector.fece_outputs_.size());
  };

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(segmentation_buffers, (std::vector<std::size_t>{0, 2}));
  EXPECT_EQ(fece_buffers, (std::vector<std::size_t>{0, 0}));
}

TEST_F(Init, SuccessSetsEverything) {
  DirtySegDetectorConfig config = Config(kTwoPatches);
  config.fece_enable = true;

  EXPECT_TRUE(detector.Init(config));

  EXPECT_NE(detector.config_, nullptr);
  EXPECT_NE(detector.dirty_seg_engine_, nullptr);
  EXPECT_NE(detector.yolov8_postprocess_, nullptr);
  EXPECT_NE(detector.fece_engine_, nullptr);
  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), Names{"images"});
  EXPECT_EQ(NamesOf(detector.dirty_seg_outputs_), Names{"output0"});
  EXPECT_EQ(NamesOf(detector.fece_inputs_), Names{"input"});
  EXPECT_EQ(NamesOf(detector.fece_outputs_), Names{"output"});
  EXPECT_EQ(detector.patches_.size(), 2U);
  EXPECT_TRUE(detector.crop_images_.empty());
}

TEST_F(Init, ZeroAndPositiveStatusesAreSuccess) {
  for (int status : {0, 1, 7}) {
    script::GetScript().init_statuses = {status};
    EXPECT_TRUE(detector.Init(Config("{}"))) << status;
  }
}

TEST_F(Init, PositiveStatusOfTheFeceEngineIsSuccess) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  script::GetScript().init_statuses = {0, 3};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(log.GetLines(), (Lines{kSegmentationReady, kFeceReady, kModelPath}));
}

// --- The copy of the configuration ---

TEST_F(Init, CopiesTheWholeRecord) {
  DirtySegDetectorConfig config = Config("{}");
  config.camera_intrinsics["front"].fx = 1.5;
  config.class_names[3] = "stain";
  config.enabled_cameras = {"front"};
  config.class_score_thresholds[3] = 0.5F;
  config.class_groups[3] = "dirt";
  config.parameters["p"] = 2.5;
  config.frame_rate = 10.0;
  config.robot_id = "r1";
  config.fece_class_ids = {4, 5};
  config.fece_score_threshold = 0.25F;
  config.fece_area_threshold = 400.0F;

  EXPECT_TRUE(detector.Init(config));

  const DirtySegDetectorConfig& copy = *detector.config_;
  EXPECT_NE(&copy, &config);
  EXPECT_EQ(copy.dirty_seg_model_config.model_path, "segmentation.model");
  EXPECT_EQ(copy.yaml_config_path, config.yaml_config_path);
  EXPECT_EQ(copy.camera_intrinsics.at("front").fx, 1.5);
  EXPECT_EQ(copy.class_names, config.class_names);
  EXPECT_EQ(copy.enabled_cameras, config.enabled_cameras);
  EXPECT_EQ(copy.class_score_thresholds, config.class_score_thresholds);
  EXPECT_EQ(copy.class_groups, config.class_groups);
  EXPECT_EQ(copy.parameters, config.parameters);
  EXPECT_EQ(copy.frame_rate, 10.0);
  EXPECT_EQ(copy.robot_id, "r1");
  EXPECT_FALSE(copy.fece_enable);
  EXPECT_EQ(copy.fece_class_ids, (std::vector<int>{4, 5}));
  EXPECT_EQ(copy.fece_score_threshold, 0.25F);
  EXPECT_EQ(copy.fece_area_threshold, 400.0F);
  EXPECT_EQ(copy.fece_model_config.model_path, "fece.model");
}

TEST_F(Init, ClassifierSettingsAreCopiedAsTheyAre) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  config.fece_class_ids = {5, 4, 5};
  config.fece_score_threshold = -1.5F;
  config.fece_area_threshold = -2.0F;

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(detector.config_->fece_class_ids, (std::vector<int>{5, 4, 5}));
  EXPECT_EQ(detector.config_->fece_score_threshold, -1.5F);
  EXPECT_EQ(detector.config_->fece_area_threshold, -2.0F);
}

TEST_F(Init, GivesTheCopyToEnginesAndPostprocessor) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;

  EXPECT_TRUE(detector.Init(config));

  const std::vector<script::Call> inits = script::CallsOf(script::kInit);
  EXPECT_EQ(inits[0].config, &detector.config_->dirty_seg_model_config);
  EXPECT_EQ(inits[1].config, &detector.config_->fece_model_config);
  EXPECT_EQ(script::CallsOf(script::kMakePostprocess)[0].config,
            &detector.config_->dirty_seg_model_config);
}

TEST_F(Init, ReadsOnlyTheCopyOnceItIsMade) {
  DirtySegDetectorConfig config = Config(kTwoPatches);
  script::GetScript().on_init = [&] { config = DirtySegDetectorConfig(); };

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(detector.patches_.size(), 2U);
  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), Names{"images"});
  EXPECT_EQ(log.GetLines().back(), kModelPath);
}

TEST_F(Init, ReadsOnlyTheCopyOfTheClassifierToo) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  script::GetScript().on_init = [&] { config = DirtySegDetectorConfig(); };

  EXPECT_TRUE(detector.Init(config));

  EXPECT_NE(detector.fece_engine_, nullptr);
  EXPECT_EQ(NamesOf(detector.fece_inputs_), Names{"input"});
  EXPECT_EQ(NamesOf(detector.fece_outputs_), Names{"output"});
}

// --- The fece switch ---

TEST_F(Init, WithoutFeceNothingOfItExists) {
  EXPECT_TRUE(detector.Init(Config("{}")));

  EXPECT_EQ(detector.fece_engine_, nullptr);
  EXPECT_TRUE(detector.fece_inputs_.empty());
  EXPECT_TRUE(detector.fece_outputs_.empty());
  for (const script::Call& call : script::Calls()) EXPECT_NE(call.model_path, "fece.model");
}

TEST_F(Init, WithoutFeceABrokenFeceConfigurationIsNotNoticed) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_model_config.input_sizes = {{"input", -5}};
  config.fece_model_config.output_types.clear();

  EXPECT_TRUE(detector.Init(config));
}

TEST_F(Init, SwitchingFeceOffLeavesTheEarlierEngineAndBuffers) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  ASSERT_TRUE(detector.Init(config));
  const std::shared_ptr<AIEngine> engine = detector.fece_engine_;
  const auto storage = detector.fece_inputs_.at("input").data;

  config.fece_enable = false;
  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(detector.fece_engine_, engine);
  EXPECT_EQ(detector.fece_inputs_.at("input").data, storage);
}

// --- A second call ---

TEST_F(Init, SecondCallAppendsThePatchesAgain) {
  PatchesOf(kTwoPatches);

  EXPECT_EQ(PatchesOf(kTwoPatches),
            (Rects{{0, 0, 640, 640}, {640, 0, 320, 200}, {0, 0, 640, 640}, {640, 0, 320, 200}}));
}

TEST_F(Init, SecondPostprocessorGetsOnlyTheSecondSizes) {
  PatchesOf(kTwoPatches);
  PatchesOf("patch: {enable: true, patches: [[1, 2, 3, 4]]}");

  EXPECT_EQ(SizesGiven(), (Sizes{{3, 4}}));
}

TEST_F(Init, SecondCallReplacesConfigurationEnginesAndPostprocessor) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  ASSERT_TRUE(detector.Init(config));
  const std::weak_ptr<DirtySegDetectorConfig> old_config = detector.config_;
  const std::weak_ptr<AIEngine> old_engine = detector.dirty_seg_engine_;
  const std::weak_ptr<AIEngine> old_fece_engine = detector.fece_engine_;
  const std::weak_ptr<Yolov8Postprocess> old_postprocess = detector.yolov8_postprocess_;

  ASSERT_TRUE(detector.Init(config));

  EXPECT_TRUE(old_config.expired());
  EXPECT_TRUE(old_engine.expired());
  EXPECT_TRUE(old_fece_engine.expired());
  EXPECT_TRUE(old_postprocess.expired());
}

TEST_F(Init, EarlierEngineIsReleasedBeforeItsSuccessorIsSetUp) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  ASSERT_TRUE(detector.Init(config));
  script::Reset();

  ASSERT_TRUE(detector.Init(config));

  EXPECT_EQ(script::Operations(), (Names{script::kMakeEngine, script::kDropEngine, script::kInit,
                                         script::kMakeEngine, script::kDropEngine, script::kInit,
                                         script::kMakePostprocess, script::kDropPostprocess}));
}

TEST_F(Init, SecondCallMakesBuffersOfTheSameNameAfresh) {
  ASSERT_TRUE(detector.Init(Config("{}")));
  const AIBuff input = detector.dirty_seg_inputs_.at("images");
  const AIBuff output = detector.dirty_seg_outputs_.at("output0");
  input.data->at(0) = 9;
  detector.dirty_seg_inputs_.at("images").data_type = 5;
  detector.dirty_seg_inputs_.at("images").shape = {1};

  ASSERT_TRUE(detector.Init(Config("{}")));

  EXPECT_NE(detector.dirty_seg_inputs_.at("images").data, input.data);
  EXPECT_NE(detector.dirty_seg_outputs_.at("output0").data, output.data);
  EXPECT_EQ(detector.dirty_seg_inputs_.at("images").data->at(0), 0);
  EXPECT_EQ(detector.dirty_seg_inputs_.at("images").data_type, 2U);
  EXPECT_TRUE(detector.dirty_seg_inputs_.at("images").shape.empty());
}

TEST_F(Init, BuffersThatAreNoLongerConfiguredStay) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  ASSERT_TRUE(detector.Init(config));
  const auto earlier_input = detector.dirty_seg_inputs_.at("images").data;
  const auto earlier_output = detector.dirty_seg_outputs_.at("output0").data;

  for (AIEngineConfig* network : {&config.dirty_seg_model_config, &config.fece_model_config}) {
    network->input_sizes = {{"renamed", 4}};
    network->output_sizes = {{"renamed", 4}};
    network->output_shapes = {{"renamed", {1}}};
    network->output_types = {{"renamed", 2}};
  }
  ASSERT_TRUE(detector.Init(config));

  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), (Names{"images", "renamed"}));
  EXPECT_EQ(NamesOf(detector.dirty_seg_outputs_), (Names{"output0", "renamed"}));
  EXPECT_EQ(NamesOf(detector.fece_inputs_), (Names{"input", "renamed"}));
  EXPECT_EQ(NamesOf(detector.fece_outputs_), (Names{"output", "renamed"}));
  EXPECT_EQ(detector.dirty_seg_inputs_.at("images").data, earlier_input);
  EXPECT_EQ(detector.dirty_seg_outputs_.at("output0").data, earlier_output);
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
