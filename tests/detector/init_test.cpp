// Init: engines, buffers, the configuration file, the post-processor.
#include <yaml-cpp/yaml.h>

#include <stdexcept>
#include <utility>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

namespace script = scripted_engine;

using Names = std::vector<std::string>;
using Sizes = std::vector<cv::Size>;
using Rects = std::vector<cv::Rect>;

const Line kSegmentationReady = Info("Init", "Initing dirty seg detector model succeed");
const Line kSegmentationFailed = Info("Init", "Initing dirty seg detector model failed");
const Line kFeceReady = Info("Init", "Initing fece detector model succeed");
const Line kFeceFailed = Info("Init", "Initing fece detector model failed");
const Line kModelPath = Debug("Init", "Dirty Seg Detector model path : segmentation.model");

constexpr const char* kTwoPatches =
    "patch:\n"
    "  enable: true\n"
    "  patches:\n"
    "    - [0, 0, 640, 640]\n"
    "    - [640, 0, 320, 200]\n";

class Init : public DetectorTest {
 protected:
  // Runs Init on a file of that text and returns the patches.
  Rects PatchesOf(const std::string& yaml) {
    EXPECT_TRUE(detector.Init(Config(yaml)));
    return detector.patches_;
  }

  static Sizes SizesGiven() { return script::CallsOf(script::kMakePostprocess).back().patch_sizes; }

  // The output buffer of a network whose one output has that shape and type.
  AIBuff OutputBuffer(const std::vector<std::int64_t>& shape, std::uint32_t type) {
    DirtySegDetectorConfig config = Config("{}");
    config.dirty_seg_model_config.output_shapes["output0"] = shape;
    config.dirty_seg_model_config.output_types["output0"] = type;
    EXPECT_TRUE(detector.Init(config));
    return detector.dirty_seg_outputs_.at("output0");
  }
};

Names NamesOf(const std::map<std::string, AIBuff>& buffers) {
  Names names;
  for (const auto& [name, buffer] : buffers) names.push_back(name);
  return names;
}

bool IsZeroed(const AIBuff& buffer, std::size_t bytes) {
  return *buffer.data == std::vector<std::uint8_t>(bytes, 0);
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

// --- Input buffers ---

TEST_F(Init, MakesOneZeroedBufferForEachInput) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_sizes = {{"b", 20}, {"a", 12}, {"empty", 0}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), (Names{"a", "b", "empty"}));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("a"), 12));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("b"), 20));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("empty"), 0));
}

TEST_F(Init, InputBuffersAreSizedInBytesWhateverTheirType) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_sizes = {{"images", 10}};
  config.dirty_seg_model_config.input_types = {{"images", alg::common::kAIFloat64}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("images"), 10));
}

TEST_F(Init, InputBuffersKeepTheDefaultTypeAndNoShape) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_types = {{"images", alg::common::kAIFloat64}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(detector.dirty_seg_inputs_.at("images").data_type, 2U);
  EXPECT_TRUE(detector.dirty_seg_inputs_.at("images").shape.empty());
}

TEST_F(Init, NegativeInputSizeThrowsLengthError) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.input_sizes = {{"a", 12}, {"b", -1}, {"c", 12}};

  EXPECT_THROW(detector.Init(config), std::length_error);

  EXPECT_EQ(NamesOf(detector.dirty_seg_inputs_), (Names{"a", "b"}));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_inputs_.at("a"), 12));
  EXPECT_TRUE(detector.dirty_seg_outputs_.empty());
  EXPECT_EQ(log.GetLines(), Lines{kSegmentationReady});
}

// --- Output buffers ---

using CodeAndBytes = std::pair<std::uint32_t, std::size_t>;

class InitOutputType : public Init, public ::testing::WithParamInterface<CodeAndBytes> {};

TEST_P(InitOutputType, SizesTheElement) {
  const AIBuff buffer = OutputBuffer({1, 2, 3}, GetParam().first);

  EXPECT_TRUE(IsZeroed(buffer, 6 * GetParam().second));
  EXPECT_EQ(buffer.data_type, GetParam().first);
  EXPECT_EQ(buffer.shape, (std::vector<std::int64_t>{1, 2, 3}));
}

INSTANTIATE_TEST_SUITE_P(Codes, InitOutputType,
                         ::testing::Values(CodeAndBytes{0, 1}, CodeAndBytes{1, 2},
                                           CodeAndBytes{2, 4}, CodeAndBytes{3, 4},
                                           CodeAndBytes{4, 8}, CodeAndBytes{5, 8},
                                           CodeAndBytes{6, 4}, CodeAndBytes{9, 4},
                                           CodeAndBytes{4294967295U, 4}),
                         [](const auto& test) { return std::to_string(test.param.first); });

TEST_F(Init, EmptyOutputShapeIsOneElement) {
  EXPECT_TRUE(IsZeroed(OutputBuffer({}, alg::common::kAIInt64), 8));
}

TEST_F(Init, OutputShapeWithAZeroHasNoElements) {
  EXPECT_TRUE(IsZeroed(OutputBuffer({3, 0, 5}, alg::common::kAIFloat32), 0));
}

TEST_F(Init, OutputShapeBeyondMemoryThrowsLengthError) {
  constexpr std::int64_t kLarge = std::int64_t{1} << 32;
  // 2^61 elements: a product of 32 bits would be 0. A dimension below 0 is a length near 2^64.
  EXPECT_THROW(OutputBuffer({kLarge, kLarge / 8}, alg::common::kAIUint8), std::length_error);
  EXPECT_THROW(OutputBuffer({-1, 3}, alg::common::kAIFloat32), std::length_error);
}

TEST_F(Init, OutputByteCountsAreNotUsed) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_sizes = {{"output0", -77}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_TRUE(IsZeroed(detector.dirty_seg_outputs_.at("output0"), 24));
}

TEST_F(Init, OnlyNamesOfTheOutputMapGetABuffer) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_shapes["other"] = {4};
  config.dirty_seg_model_config.output_types["other"] = 0;

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(NamesOf(detector.dirty_seg_outputs_), Names{"output0"});
}

TEST_F(Init, MissingOutputShapeThrowsAndLeavesAFreshBuffer) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_shapes.clear();

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  const AIBuff& buffer = detector.dirty_seg_outputs_.at("output0");
  EXPECT_TRUE(IsZeroed(buffer, 0));
  EXPECT_EQ(buffer.data_type, 2U);
  EXPECT_EQ(log.GetLines(), Lines{kSegmentationReady});
}

TEST_F(Init, MissingOutputTypeThrowsAndLeavesTheBufferSizedForTheDefaultType) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_types.clear();

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  const AIBuff& buffer = detector.dirty_seg_outputs_.at("output0");
  EXPECT_EQ(buffer.shape, (std::vector<std::int64_t>{1, 2, 3}));
  EXPECT_TRUE(IsZeroed(buffer, 24));
  EXPECT_EQ(buffer.data_type, 2U);
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
}

TEST_F(Init, OutputsAreMadeInAscendingOrderOfTheirNames) {
  DirtySegDetectorConfig config = Config("{}");
  config.dirty_seg_model_config.output_sizes = {{"c", 0}, {"b", 0}, {"a", 0}};
  config.dirty_seg_model_config.output_shapes = {{"a", {2}}, {"c", {2}}};
  config.dirty_seg_model_config.output_types = {{"a", 0}, {"c", 0}};

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  EXPECT_EQ(NamesOf(detector.dirty_seg_outputs_), (Names{"a", "b"}));
  EXPECT_TRUE(IsZeroed(detector.dirty_seg_outputs_.at("a"), 2));
}

TEST_F(Init, FeceBuffersFollowTheSameRules) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  config.fece_model_config.input_sizes = {{"input", 40}, {"second", 3}};
  config.fece_model_config.output_shapes = {{"output", {1, 2}}};
  config.fece_model_config.output_types = {{"output", alg::common::kAIFloat64}};

  EXPECT_TRUE(detector.Init(config));

  EXPECT_EQ(NamesOf(detector.fece_inputs_), (Names{"input", "second"}));
  EXPECT_TRUE(IsZeroed(detector.fece_inputs_.at("input"), 40));
  EXPECT_EQ(detector.fece_inputs_.at("input").data_type, 2U);
  EXPECT_TRUE(IsZeroed(detector.fece_outputs_.at("output"), 16));
  EXPECT_EQ(detector.fece_outputs_.at("output").data_type, 5U);
  EXPECT_EQ(detector.fece_outputs_.at("output").shape, (std::vector<std::int64_t>{1, 2}));
}

TEST_F(Init, MissingFeceOutputTypeThrows) {
  DirtySegDetectorConfig config = Config("{}");
  config.fece_enable = true;
  config.fece_model_config.output_types.clear();

  EXPECT_THROW(detector.Init(config), std::out_of_range);

  EXPECT_EQ(log.GetLines(), (Lines{kSegmentationReady, kFeceReady}));
  EXPECT_EQ(NamesOf(detector.fece_inputs_), Names{"input"});  // made before the outputs
  EXPECT_EQ(NamesOf(detector.fece_outputs_), Names{"output"});
  EXPECT_EQ(detector.yolov8_postprocess_, nullptr);
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

// --- Patches ---

TEST_F(Init, PatchesAreReadInFileOrder) {
  EXPECT_EQ(PatchesOf(kTwoPatches), (Rects{{0, 0, 640, 640}, {640, 0, 320, 200}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{640, 640}, {320, 200}}));
}

TEST_F(Init, PatchesBeyondTheNetworksBatchAreReadToo) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[1, 2, 3, 4], [5, 6, 7, 8], [9, 9, 9, 9]]}"),
            (Rects{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 9, 9, 9}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{3, 4}, {7, 8}, {9, 9}}));
}

TEST_F(Init, FileWithoutAPatchKeyHasNoPatches) {
  EXPECT_EQ(PatchesOf("other: 1\n"), Rects{});
  EXPECT_EQ(SizesGiven(), Sizes{});
}

TEST_F(Init, EmptyFileHasNoPatches) { EXPECT_EQ(PatchesOf(""), Rects{}); }

TEST_F(Init, DisabledPatchesAreNotRead) {
  EXPECT_EQ(PatchesOf("patch: {enable: false, patches: [[0, 0, 640, 640]]}"), Rects{});
  EXPECT_EQ(SizesGiven(), Sizes{});
}

TEST_F(Init, DisabledPatchesAreNotEvenChecked) {
  EXPECT_EQ(PatchesOf("patch: {enable: false, patches: [[x]]}"), Rects{});
}

TEST_F(Init, EnabledWithoutPatchesHasNone) {
  EXPECT_EQ(PatchesOf("patch: {enable: true}"), Rects{});
  EXPECT_EQ(SizesGiven(), Sizes{});
}

TEST_F(Init, EnabledWithAnEmptyListHasNone) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: []}"), Rects{});
}

TEST_F(Init, PatchesThatAreNoListCountAsNone) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: 5}"), Rects{});
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: }"), Rects{});
}

TEST_F(Init, EntriesAreSubscriptedWhateverHoldsThem) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: {0: [1, 2, 3, 4]}}"), (Rects{{1, 2, 3, 4}}));
  EXPECT_THROW(detector.Init(Config("patch: {enable: true, patches: {a: [1, 2, 3, 4]}}")),
               YAML::TypedBadConversion<int>);
}

TEST_F(Init, EnableTakesEveryBooleanOfYaml) {
  for (const char* yes : {"true", "True", "TRUE", "yes", "on", "y"}) {
    detector.patches_.clear();
    const std::string yaml = std::string("patch: {enable: ") + yes + ", patches: [[1, 2, 3, 4]]}";
    EXPECT_EQ(PatchesOf(yaml).size(), 1U) << yes;
  }
  for (const char* no : {"false", "no", "off", "n"}) {
    detector.patches_.clear();
    const std::string yaml = std::string("patch: {enable: ") + no + ", patches: [[1, 2, 3, 4]]}";
    EXPECT_EQ(PatchesOf(yaml).size(), 0U) << no;
  }
}

TEST_F(Init, ElementsAfterTheFourthAreIgnored) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[10, 20, 300, 400, 7]]}"),
            (Rects{{10, 20, 300, 400}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{300, 400}}));
}

TEST_F(Init, ElementsTakeEveryIntegerOfYaml) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[0x10, 010, 0x280, 640]]}"),
            (Rects{{16, 8, 640, 640}}));
}

TEST_F(Init, PatchValuesAreNotChecked) {
  EXPECT_EQ(PatchesOf("patch: {enable: true, patches: [[-5, -6, 0, -8], [99999, 0, 1, 1]]}"),
            (Rects{{-5, -6, 0, -8}, {99999, 0, 1, 1}}));
  EXPECT_EQ(SizesGiven(), (Sizes{{0, -8}, {1, 1}}));
}

// --- The YAML root ---

TEST_F(Init, RootGoesWholeToThePostprocessor) {
  const std::string yaml = "patch: {enable: true, patches: [[1, 2, 3, 4]]}\nother: {key: [a, b]}\n";

  EXPECT_TRUE(detector.Init(Config(yaml)));

  EXPECT_EQ(script::CallsOf(script::kMakePostprocess)[0].yaml, YAML::Dump(YAML::Load(yaml)));
}

TEST_F(Init, ReadingMissingKeysAddsNoneToTheRoot) {
  for (const char* yaml : {"other: 1", "patch: {enable: true}", "~", "[1, 2]"}) {
    EXPECT_TRUE(detector.Init(Config(yaml)));
    EXPECT_EQ(script::CallsOf(script::kMakePostprocess).back().yaml, YAML::Dump(YAML::Load(yaml)));
  }
}

TEST_F(Init, PostprocessorGetsTheSegmentationNetwork) {
  EXPECT_TRUE(detector.Init(Config("{}")));

  EXPECT_EQ(script::CallsOf(script::kMakePostprocess)[0].model_path, "segmentation.model");
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
