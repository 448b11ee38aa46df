// DoInference: the stages of one frame, their order, times and failures.
#include <algorithm>
#include <stdexcept>

#include "support/detector_test.h"
#include "support/scripted_clock.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

namespace script = scripted_engine;

using Names = std::vector<std::string>;
using Result = std::shared_ptr<DirtyStatusResultData>;

constexpr const char* kCrop = "PreProcessFromSingleImageCrop";
constexpr const char* kConvert = "ConvertToDirtyStatusResult";
constexpr long kMillisecond = 1000000;

const Line kCropCalled = Debug(kCrop, "----------PreProcessFromSingleImageCrop()----------");
const Line kInferenceTime =
    Info("DoInference", "dirty seg detection inference cost time is 0.000000 ms.");

class DoInference : public DetectorTest {
 protected:
  DoInference() : previous(std::make_shared<DirtyStatusResultData>()), result(previous) {}

  // Two patches side by side on an 8 x 16 frame, unless the configuration says otherwise.
  DirtySegDetectorConfig DefaultConfig() const {
    return Config("patch: {enable: true, patches: [[0, 0, 8, 8], [8, 0, 8, 8]]}");
  }

  void InitWith(const DirtySegDetectorConfig& config) {
    ASSERT_TRUE(detector.Init(config));
    script::Reset();
    log.Clear();
  }

  bool Run() { return detector.DoInference(images, result); }

  // What the std::out_of_range says that ends the frame.
  std::string OutOfRangeOfRun() {
    try {
      Run();
    } catch (const std::out_of_range& error) {
      return error.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
  }

  // Of a frame in which nothing is found.
  void ExpectThatStagesTookNoTime() {
    EXPECT_TRUE(Run());
    EXPECT_EQ(
        Lines(log.GetLines().end() - 3, log.GetLines().end()),
        (Lines{
            kInferenceTime,
            Info("DoInference", "Dirty seg detection postprocess cost time is 0.000000 ms."),
            Info("DoInference", "dirty seg detection convert result cost time is 0.000000 ms.")}));
  }

  static Object ObjectAt(float x, float y, int label) {
    Object object;
    object.x = x;
    object.y = y;
    object.width = 2.0F;
    object.height = 3.0F;
    object.label = label;
    object.score = 0.5F;
    return object;
  }

  ScriptedClock clock{{1000, 0}};
  ImageMap images = ColorOnly(ColorImage(8, 16, {51, 102, 153}));
  Result previous;
  Result result;
};

// --- A whole frame ---

TEST_F(DoInference, RunsTheStagesInOrder) {
  InitWith(DefaultConfig());

  EXPECT_TRUE(Run());

  EXPECT_EQ(script::Operations(),
            (Names{script::kInfer, script::kToString, script::kMakeRecord, script::kPostProcess,
                   script::kToString, script::kToString, script::kDropRecord}));
}

TEST_F(DoInference, LogsEveryStageWithItsTime) {
  InitWith(DefaultConfig());
  script::GetScript().objects = {{ObjectAt(0, 0, 1)}, {}};
  script::GetScript().on_inference = [&](auto&, auto&, auto&) {
    clock.AdvanceNanoseconds(12345678);
  };
  script::GetScript().on_post_process = [&](auto&, auto&) {
    clock.AdvanceNanoseconds(3 * kMillisecond);
  };

  EXPECT_TRUE(Run());

  EXPECT_EQ(
      log.GetLines(),
      (Lines{kCropCalled, Info(kCrop, "Using predefined patches, count: 2"),
             Info(kCrop, "Total crops: 2"),
             Info("DoInference", "dirty seg detection inference cost time is 12.345678 ms."),
             Info("DoInference", "Dirty seg detection postprocess cost time is 3.000000 ms."),
             Info(kConvert, "patch 0 检测出目标数量为 1"),
             Info(kConvert, "patch 1 检测出目标数量为 0"),
             Info("DoInference", "dirty seg detection convert result cost time is 0.000000 ms.")}));
}

TEST_F(DoInference, ConversionTimeHoldsTheClassifier) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.fece_enable = true;
  config.fece_class_ids = {1};
  InitWith(config);
  script::GetScript().objects = {{ObjectAt(0, 0, 1)}};
  script::GetScript().on_inference = [&](const std::string& model, auto&, auto&) {
    if (model == "fece.model") clock.AdvanceNanoseconds(7 * kMillisecond);
  };

  EXPECT_TRUE(Run());

  EXPECT_EQ(log.GetLines().back(),
            Info("DoInference", "dirty seg detection convert result cost time is 7.000000 ms."));
}

TEST_F(DoInference, ReturnsTheObjectsInFrameCoordinates) {
  InitWith(DefaultConfig());
  script::GetScript().objects = {{ObjectAt(1, 2, 4)}, {ObjectAt(3, 1, 6)}};

  EXPECT_TRUE(Run());

  EXPECT_TRUE(result->success);
  EXPECT_EQ(result->message, "success");
  EXPECT_EQ(result->bboxes, (std::vector<std::vector<float>>{{1, 2, 3, 5}, {11, 1, 13, 4}}));
  EXPECT_EQ(result->labels, (std::vector<int>{4, 6}));
}

TEST_F(DoInference, ReplacesTheResultEvenWhenNothingWasFound) {
  InitWith(DefaultConfig());

  EXPECT_TRUE(Run());

  EXPECT_NE(result, previous);
  EXPECT_TRUE(result->success);
  EXPECT_EQ(result->message, "success");
  EXPECT_TRUE(result->bboxes.empty());
  EXPECT_EQ(previous->message, "ok");
}

TEST_F(DoInference, FillsANullResult) {
  InitWith(DefaultConfig());
  result = nullptr;

  EXPECT_TRUE(Run());

  ASSERT_NE(result, nullptr);
}

TEST_F(DoInference, EveryFrameGetsANewRecord) {
  InitWith(DefaultConfig());
  EXPECT_TRUE(Run());
  const Result first = result;

  EXPECT_TRUE(Run());

  EXPECT_NE(result, first);
  EXPECT_EQ(first.use_count(), 1);
}

TEST_F(DoInference, EarlierResultIsReleasedNotWrittenInto) {
  InitWith(DefaultConfig());
  const std::weak_ptr<DirtyStatusResultData> earlier = previous;
  previous.reset();

  EXPECT_TRUE(Run());

  EXPECT_TRUE(earlier.expired());
}

TEST_F(DoInference, IntermediateRecordIsMadeAfreshEveryFrame) {
  InitWith(DefaultConfig());
  script::GetScript().objects = {{ObjectAt(0, 0, 1)}};
  std::vector<std::size_t> lists_on_entry;
  script::GetScript().on_post_process = [&](auto&, script::ObjectLists& objects) {
    lists_on_entry.push_back(objects.size());
  };

  EXPECT_TRUE(Run());
  EXPECT_TRUE(Run());

  EXPECT_EQ(lists_on_entry, (std::vector<std::size_t>{0, 0}));
  ASSERT_EQ(script::CallsOf(script::kMakeRecord).size(), 2U);
  EXPECT_EQ(script::CallsOf(script::kMakeRecord)[0].text, "dirty_seg_detector_res_data");
  EXPECT_EQ(script::CallsOf(script::kDropRecord).size(), 2U);
}

TEST_F(DoInference, EngineAndPostprocessorWorkOnTheDetectorsBuffers) {
  InitWith(DefaultConfig());

  EXPECT_TRUE(Run());

  const script::Call infer = script::CallsOf(script::kInfer)[0];
  EXPECT_EQ(infer.model_path, "segmentation.model");
  EXPECT_EQ(infer.inputs, &detector.dirty_seg_inputs_);
  EXPECT_EQ(infer.outputs, &detector.dirty_seg_outputs_);
  EXPECT_EQ(infer.input_bytes, (std::map<std::string, std::size_t>{{"images", 2 * 768}}));
  EXPECT_EQ(infer.output_bytes, (std::map<std::string, std::size_t>{{"output0", 24}}));
  EXPECT_EQ(script::CallsOf(script::kPostProcess)[0].outputs, &detector.dirty_seg_outputs_);
}

TEST_F(DoInference, EngineSeesThePackedPatches) {
  InitWith(DefaultConfig());
  (*images.at("color"))(cv::Rect(8, 0, 8, 8)).setTo(cv::Scalar(0, 0, 255));
  std::vector<float> tensor;
  script::GetScript().on_inference = [&](auto&, script::BufferMap& inputs, auto&) {
    tensor = FloatsOf(inputs.at("images"));
  };

  EXPECT_TRUE(Run());

  ASSERT_EQ(tensor.size(), 384U);
  EXPECT_EQ(tensor[0], 0.6F);
  EXPECT_EQ(tensor[64], 0.4F);
  EXPECT_EQ(tensor[128], 0.2F);
  EXPECT_EQ(tensor[192], 1.0F);
  EXPECT_EQ(tensor[383], 0.0F);
}

TEST_F(DoInference, PostprocessorSeesWhatTheEngineWrote) {
  InitWith(DefaultConfig());
  script::GetScript().on_inference = [](auto&, auto&, script::BufferMap& outputs) {
    outputs.at("output0").data->at(3) = 77;
  };
  int seen = 0;
  script::GetScript().on_post_process = [&](script::BufferMap& outputs, auto&) {
    seen = outputs.at("output0").data->at(3);
  };

  EXPECT_TRUE(Run());

  EXPECT_EQ(seen, 77);
}

TEST_F(DoInference, StatusOfThePostprocessorIsIgnored) {
  InitWith(DefaultConfig());
  script::GetScript().post_process_status = -1;
  script::GetScript().objects = {{ObjectAt(0, 0, 1)}};

  EXPECT_TRUE(Run());

  EXPECT_TRUE(result->success);
  EXPECT_EQ(result->labels, std::vector<int>{1});
}

TEST_F(DoInference, ConfigurationAndPatchesStayAsTheyWere) {
  InitWith(DefaultConfig());
  const auto config = detector.config_;

  EXPECT_TRUE(Run());
  EXPECT_TRUE(Run());

  EXPECT_EQ(detector.config_, config);
  EXPECT_EQ(detector.patches_, (std::vector<cv::Rect>{{0, 0, 8, 8}, {8, 0, 8, 8}}));
}

TEST_F(DoInference, ChangingTheHostsConfigurationChangesNothing) {
  auto config = std::make_unique<DirtySegDetectorConfig>(DefaultConfig());
  ASSERT_TRUE(detector.Init(*config));
  config->dirty_seg_model_config.input_shapes = {{"other", {1, 3, 8, 8}}};
  config.reset();

  EXPECT_TRUE(Run());
}

TEST_F(DoInference, FrameIsNotWritten) {
  InitWith(DefaultConfig());

  EXPECT_TRUE(Run());

  EXPECT_TRUE(SameImage(*images.at("color"), *ColorImage(8, 16, {51, 102, 153})));
  EXPECT_EQ(images.at("color").use_count(), 1);
}

TEST_F(DoInference, OtherImagesAreCarriedAlong) {
  InitWith(DefaultConfig());
  images["depth"] = nullptr;

  EXPECT_TRUE(Run());
}

TEST_F(DoInference, IntermediateRecordHoldsEveryImageUntilTheFrameIsDone) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.fece_enable = true;
  config.fece_class_ids = {1};
  InitWith(config);
  images["depth"] = ColorImage(1, 1);
  script::GetScript().objects = {{ObjectAt(0, 0, 1)}};
  std::vector<long> owners;
  script::GetScript().on_inference = [&](auto&, auto&, auto&) {
    for (const auto& [name, image] : images) owners.push_back(image.use_count());
  };

  EXPECT_TRUE(Run());

  // Before the record is made, and in the conversion.
  EXPECT_EQ(owners, (std::vector<long>{1, 1, 2, 2}));
  for (const auto& [name, image] : images) EXPECT_EQ(image.use_count(), 1) << name;
}

// --- Network inputs ---

TEST_F(DoInference, LongerOfWidthAndHeightIsTheNetworksSize) {
  for (const std::vector<std::int64_t>& shape :
       {std::vector<std::int64_t>{2, 3, 4, 8}, std::vector<std::int64_t>{2, 3, 8, 4}}) {
    DirtySegDetectorConfig config = DefaultConfig();
    config.dirty_seg_model_config.input_shapes["images"] = shape;
    InitWith(config);

    EXPECT_TRUE(Run());

    EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(8, 8));
    detector.patches_.clear();
  }
}

TEST_F(DoInference, BatchAndChannelsOfTheShapeAreNotTheSize) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_shapes["images"] = {100, 200, 4, 4, 300};
  InitWith(config);

  EXPECT_TRUE(Run());

  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(4, 4));
}

TEST_F(DoInference, DimensionsAreNarrowedTo32Bits) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_shapes["images"] = {2, 3, 0x100000004, 0x200000008};
  InitWith(config);

  EXPECT_TRUE(Run());

  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(8, 8));
}

TEST_F(DoInference, EveryInputIsPreparedFromTheSameImage) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_sizes = {{"a", 2 * 768}, {"b", 2 * 192}};
  config.dirty_seg_model_config.input_shapes = {{"b", {2, 3, 4, 4}}, {"a", {2, 3, 8, 8}}};
  InitWith(config);

  EXPECT_TRUE(Run());

  EXPECT_EQ(FloatsOf(detector.dirty_seg_inputs_.at("a"))[0], 0.6F);
  EXPECT_EQ(FloatsOf(detector.dirty_seg_inputs_.at("b"))[0], 0.6F);
  EXPECT_EQ(detector.crop_images_.at("crop_0").size(), cv::Size(4, 4)) << "b is the last";
  EXPECT_EQ(script::CallsOf(script::kInfer).size(), 1U);
}

TEST_F(DoInference, SecondInputIsPreparedOnlyAfterTheFirst) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_sizes = {{"a", 8}, {"b", 2 * 768}};
  config.dirty_seg_model_config.input_shapes = {{"a", {2, 3, 8, 8}}, {"b", {2, 3, 8, 8}}};
  InitWith(config);

  EXPECT_FALSE(Run());

  EXPECT_EQ(log.GetLines(),
            (Lines{kCropCalled, Info(kCrop, "Using predefined patches, count: 2"),
                   Error(kCrop, "Input buffer too small: 768 bytes needed, 8 bytes available"),
                   Error("DoInference", "PreProcess error")}));
  EXPECT_EQ(FloatsOf(detector.dirty_seg_inputs_.at("b")), std::vector<float>(384, 0.0F));
}

TEST_F(DoInference, NetworkWithoutConfiguredInputsStillRuns) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_shapes.clear();
  InitWith(config);

  EXPECT_TRUE(Run());

  EXPECT_EQ(log.GetLines().front(), kInferenceTime);
}

// --- Failures ---

TEST_F(DoInference, WithoutAColorImageNothingRuns) {
  InitWith(DefaultConfig());
  images = {{"depth", ColorImage(8, 8)}};

  EXPECT_FALSE(Run());

  EXPECT_EQ(log.GetLines(), (Lines{kCropCalled, Error(kCrop, "Invalid input image"),
                                   Error("DoInference", "PreProcess error")}));
  EXPECT_TRUE(script::Calls().empty());
  EXPECT_EQ(result, previous);
  EXPECT_EQ(clock.Readings(), 0);
}

TEST_F(DoInference, WithPatchesDisabledEveryFrameFails) {
  InitWith(Config("patch: {enable: false, patches: [[0, 0, 8, 8]]}"));

  for (int frame = 0; frame < 2; ++frame) {
    log.Clear();
    EXPECT_FALSE(Run());
    EXPECT_EQ(log.GetLines(), (Lines{kCropCalled, Info(kCrop, "Total crops: 0"),
                                     Error("DoInference", "PreProcess error")}));
  }
  EXPECT_EQ(result, previous);
}

TEST_F(DoInference, EngineFailureIsLoggedBehindItsTime) {
  InitWith(DefaultConfig());
  for (int status : {2, -3}) {
    log.Clear();
    script::GetScript().inference_statuses = {status};

    EXPECT_FALSE(Run());

    EXPECT_EQ(log.GetLines(),
              (Lines{kCropCalled, Info(kCrop, "Using predefined patches, count: 2"),
                     Info(kCrop, "Total crops: 2"), kInferenceTime,
                     Error("DoInference",
                           "Dirty seg detection inference status is " + std::to_string(status))}));
  }
  EXPECT_EQ(result, previous);
  EXPECT_TRUE(script::CallsOf(script::kPostProcess).empty());
  EXPECT_TRUE(script::CallsOf(script::kMakeRecord).empty());
}

TEST_F(DoInference, CropsStayAfterAFailedInference) {
  InitWith(DefaultConfig());
  script::GetScript().inference_statuses = {5};

  EXPECT_FALSE(Run());

  EXPECT_EQ(detector.crop_images_.size(), 2U);
}

TEST_F(DoInference, ExceptionOfThePreparationPassesThrough) {
  InitWith(Config("patch: {enable: true, patches: [[-1, 0, 8, 8]]}"));

  EXPECT_THROW(Run(), cv::Exception);

  EXPECT_EQ(log.GetLines(),
            (Lines{kCropCalled, Info(kCrop, "Using predefined patches, count: 1")}));
  EXPECT_EQ(result, previous);
}

TEST_F(DoInference, WorksAgainAfterAFailure) {
  InitWith(DefaultConfig());
  script::GetScript().inference_statuses = {5};
  EXPECT_FALSE(Run());

  EXPECT_TRUE(Run());

  EXPECT_NE(result, previous);
}

TEST_F(DoInference, ShortInputShapeThrowsOutOfRange) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_shapes["images"] = {2, 3, 8};
  InitWith(config);

  EXPECT_THROW(Run(), std::out_of_range);

  EXPECT_EQ(log.GetLines(), Lines{});
  EXPECT_EQ(result, previous);
}

TEST_F(DoInference, WidthIsReadBeforeTheHeight) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_shapes["images"] = {2, 3};
  InitWith(config);

  const std::string text = OutOfRangeOfRun();

  EXPECT_NE(text.find("which is 3"), std::string::npos) << text;
}

TEST_F(DoInference, ShapeOfAnInputIsReadOnlyWhenItsTurnComes) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_sizes = {{"a", 2 * 768}, {"b", 2 * 768}};
  config.dirty_seg_model_config.input_shapes = {{"a", {2, 3, 8, 8}}, {"b", {2, 3}}};
  InitWith(config);

  EXPECT_THROW(Run(), std::out_of_range);

  EXPECT_EQ(detector.crop_images_.size(), 2U);
  EXPECT_EQ(FloatsOf(detector.dirty_seg_inputs_.at("a"))[0], 0.6F);
}

TEST_F(DoInference, ShapeIsReadBeforeTheBufferIsLookedUp) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_shapes = {{"unknown", {2, 3, 8}}};
  InitWith(config);

  EXPECT_NE(OutOfRangeOfRun(), "map::at");
}

TEST_F(DoInference, InputWithoutABufferThrowsOutOfRange) {
  DirtySegDetectorConfig config = DefaultConfig();
  config.dirty_seg_model_config.input_shapes = {{"unknown", {2, 3, 8, 8}}};
  InitWith(config);

  EXPECT_EQ(OutOfRangeOfRun(), "map::at");

  EXPECT_EQ(log.GetLines(), Lines{});
  EXPECT_EQ(result, previous);
}

TEST_F(DoInference, ExceptionOfTheEnginePassesThrough) {
  InitWith(DefaultConfig());
  script::GetScript().on_inference = [](auto&, auto&, auto&) {
    throw std::runtime_error("engine");
  };

  EXPECT_THROW(Run(), std::runtime_error);

  EXPECT_EQ(log.GetLines().back(), Info(kCrop, "Total crops: 2"));
  EXPECT_EQ(result, previous);
}

TEST_F(DoInference, ExceptionOfThePostprocessorPassesThrough) {
  InitWith(DefaultConfig());
  script::GetScript().on_post_process = [](auto&, auto&) { throw std::runtime_error("decoder"); };

  EXPECT_THROW(Run(), std::runtime_error);

  EXPECT_EQ(log.GetLines().back(), kInferenceTime);
  EXPECT_EQ(result, previous);
  EXPECT_EQ(script::CallsOf(script::kDropRecord).size(), 1U);
}

TEST_F(DoInference, ExceptionOfTheConversionPassesThrough) {
  InitWith(DefaultConfig());
  Object object = ObjectAt(0, 0, 1);
  object.mask = cv::Mat(8, 8, CV_32FC1, cv::Scalar(1));
  script::GetScript().objects = {{object}};

  EXPECT_THROW(Run(), cv::Exception);

  EXPECT_EQ(result, previous);
}

// --- Stage times ---

TEST_F(DoInference, LabelsGoThroughTheEnginesToString) {
  InitWith(DefaultConfig());

  EXPECT_TRUE(Run());

  const std::vector<script::Call> calls = script::CallsOf(script::kToString);
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].text, "dirty seg detection inference");
  EXPECT_EQ(calls[1].text, "Dirty seg detection postprocess");
  EXPECT_EQ(calls[2].text, "dirty seg detection convert result");
}

TEST_F(DoInference, LabelIsUsedAsAPrintfFormat) {
  InitWith(DefaultConfig());
  script::GetScript().to_string = [](const std::string&) { return std::string("100%% {}"); };
  script::GetScript().on_inference = [&](auto&, auto&, auto&) {
    clock.AdvanceNanoseconds(2500000);
  };

  EXPECT_TRUE(Run());

  EXPECT_EQ(log.GetLines()[3], Info("DoInference", "100% {} cost time is 2.500000 ms."));
}

TEST_F(DoInference, BracesInALabelAreNoFormat) {
  InitWith(DefaultConfig());
  script::GetScript().to_string = [](const std::string& label) { return "{{}} " + label; };

  EXPECT_TRUE(Run());

  for (const char* label : {"dirty seg detection inference", "Dirty seg detection postprocess",
                            "dirty seg detection convert result"}) {
    const Line line =
        Info("DoInference", "{{}} " + std::string(label) + " cost time is 0.000000 ms.");
    EXPECT_EQ(std::count(log.GetLines().begin(), log.GetLines().end(), line), 1) << label;
  }
}

TEST_F(DoInference, TextIsCutToTheBufferOf1000Characters) {
  InitWith(DefaultConfig());
  script::GetScript().to_string = [](const std::string&) { return std::string(990, 'x'); };

  EXPECT_TRUE(Run());

  // The terminating null takes the thousandth.
  EXPECT_EQ(log.GetLines()[3], Info("DoInference", std::string(990, 'x') + " cost tim"));
}

TEST_F(DoInference, LabelLongerThanTheBufferIsCut) {
  InitWith(DefaultConfig());
  script::GetScript().to_string = [](const std::string&) { return std::string(5000, 'y'); };

  EXPECT_TRUE(Run());

  EXPECT_EQ(log.GetLines()[3], Info("DoInference", std::string(999, 'y')));
}

TEST_F(DoInference, SecondsAndNanosecondsAreAddedUp) {
  InitWith(DefaultConfig());
  clock.Set({1700000010, 999999999});
  script::GetScript().on_inference = [&](auto&, auto&, auto&) { clock.Set({1700000012, 1}); };

  EXPECT_TRUE(Run());

  // 2 s less 999999998 ns. Both times in milliseconds would be too long for a double.
  EXPECT_EQ(log.GetLines()[3],
            Info("DoInference", "dirty seg detection inference cost time is 1000.000002 ms."));
}

TEST_F(DoInference, WallClockThatIsSetBackGivesANegativeTime) {
  InitWith(DefaultConfig());
  clock.Set({10, 0});
  script::GetScript().on_inference = [&](auto&, auto&, auto&) { clock.Set({9, 500000000}); };

  EXPECT_TRUE(Run());

  EXPECT_EQ(log.GetLines()[3],
            Info("DoInference", "dirty seg detection inference cost time is -500.000000 ms."));
}

TEST_F(DoInference, LinesBetweenTheStagesCountForNone) {
  InitWith(DefaultConfig());
  log.OnLine([&] { clock.AdvanceNanoseconds(kMillisecond); });

  ExpectThatStagesTookNoTime();
}

TEST_F(DoInference, MakingTheIntermediateRecordCountsForNoStage) {
  InitWith(DefaultConfig());
  script::GetScript().on_make_record = [&] { clock.AdvanceNanoseconds(kMillisecond); };

  ExpectThatStagesTookNoTime();
}

TEST_F(DoInference, ClockIsReadBeforeAndAfterEachStage) {
  InitWith(DefaultConfig());
  std::vector<int> readings;
  script::GetScript().on_inference = [&](auto&, auto&, auto&) {
    readings.push_back(clock.Readings());
  };
  script::GetScript().on_post_process = [&](auto&, auto&) { readings.push_back(clock.Readings()); };

  EXPECT_TRUE(Run());

  EXPECT_EQ(readings, (std::vector<int>{1, 3}));
  EXPECT_EQ(clock.Readings(), 6);
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
