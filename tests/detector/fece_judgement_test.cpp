// judge_fece: one candidate box through the classifier.
#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "common/sole_owner.h"
#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

namespace script = scripted_engine;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Line FeceError(const std::string& text) { return Error("judge_fece", text); }
Line BoxLine(const std::string& box, const std::string& crop) {
  return Info("judge_fece", "[FECE] bbox=" + box + ", crop=" + crop);
}

class JudgeFece : public DetectorTest {
 protected:
  JudgeFece() {
    DirtySegDetectorConfig config = Config("{}");
    config.fece_enable = true;
    config.fece_score_threshold = 0.9F;
    config.fece_area_threshold = 0.0F;
    EXPECT_TRUE(detector.Init(config));
    script::Reset();
    log.Clear();
    Answer(0.0F, 3.0F);
  }

  // Makes the classifier answer those logits.
  static void Answer(float l0, float l1) {
    script::GetScript().on_inference = [l0, l1](auto&, auto&, script::BufferMap& outputs) {
      const float logits[2] = {l0, l1};
      std::memcpy(outputs.at("output").data->data(), logits, sizeof(logits));
    };
  }

  void Thresholds(float score, float area) {
    detector.config_->fece_score_threshold = score;
    detector.config_->fece_area_threshold = area;
  }

  bool Judge(const std::vector<float>& bbox) { return detector.judge_fece(images, bbox); }

  void ExpectRefused(const std::vector<float>& bbox, const Lines& lines) {
    log.Clear();
    EXPECT_FALSE(Judge(bbox));
    EXPECT_EQ(log.GetLines(), lines);
    EXPECT_TRUE(script::CallsOf(script::kInfer).empty());
  }

  // The line of the clamped box.
  Line ClampedBox(const std::vector<float>& bbox) {
    log.Clear();
    Judge(bbox);
    return log.GetLines().empty() ? Line{} : log.GetLines().front();
  }

  ImageMap images = ColorOnly(ColorImage(480, 640, {10, 20, 30}));
};

// --- Box size ---

TEST_F(JudgeFece, BoxMustHaveFourValues) {
  ExpectRefused({}, {FeceError("[FECE] Invalid bbox size: 0")});
  ExpectRefused({1, 2, 3}, {FeceError("[FECE] Invalid bbox size: 3")});
  ExpectRefused({1, 2, 3, 4, 5}, {FeceError("[FECE] Invalid bbox size: 5")});
}

TEST_F(JudgeFece, BoxSizeIsCheckedBeforeTheImage) {
  images.clear();

  ExpectRefused({1}, {FeceError("[FECE] Invalid bbox size: 1")});
}

// --- Colour image ---

TEST_F(JudgeFece, MissingNullOrEmptyColorImageIsInvalid) {
  const ImageMap unusable[] = {{},
                               {{"depth", ColorImage(480, 640)}},
                               {{"color_left", ColorImage(480, 640)}},
                               {{"color", nullptr}},
                               ColorOnly(std::make_shared<cv::Mat>())};
  for (const ImageMap& map : unusable) {
    images = map;
    ExpectRefused({10, 10, 50, 50}, {FeceError("[FECE] Invalid color image")});
  }
}

TEST_F(JudgeFece, ImageIsCheckedBeforeTheBox) {
  images.clear();

  ExpectRefused({50, 50, 10, 10}, {FeceError("[FECE] Invalid color image")});
}

// --- Clamping ---

TEST_F(JudgeFece, FractionsGrowOutwards) {
  EXPECT_EQ(ClampedBox({10.2F, 20.7F, 30.1F, 40.0F}), BoxLine("[10, 20, 31, 40]", "21x20"));
}

TEST_F(JudgeFece, NegativeFractionsGrowOutwardsTooAndAreClamped) {
  EXPECT_EQ(ClampedBox({-0.2F, -3.7F, 0.1F, 0.9F}), BoxLine("[0, 0, 1, 1]", "1x1"));
}

TEST_F(JudgeFece, FarEdgesAreExclusiveAndClampedToTheImagesSize) {
  EXPECT_EQ(ClampedBox({600, 450, 700, 500}), BoxLine("[600, 450, 640, 480]", "40x30"));
}

TEST_F(JudgeFece, WholeImageIsTaken) {
  EXPECT_EQ(ClampedBox({0, 0, 640, 480}), BoxLine("[0, 0, 640, 480]", "640x480"));
}

TEST_F(JudgeFece, BoxRightOfTheImageIsOneColumn) {
  EXPECT_EQ(ClampedBox({700, 10, 800, 50}), BoxLine("[639, 10, 640, 50]", "1x40"));
}

TEST_F(JudgeFece, BoxBelowTheImageIsOneRow) {
  EXPECT_EQ(ClampedBox({10, 500, 50, 600}), BoxLine("[10, 479, 50, 480]", "40x1"));
}

TEST_F(JudgeFece, InvalidBoxIsPrintedAsFloats) {
  ExpectRefused({10.1F, -20.3F, 30, -0.7F},
                {FeceError("[FECE] Invalid bbox: [10.1, -20.3, 30, -0.7]")});
}

TEST_F(JudgeFece, BoxAboveTheImageIsInvalid) {
  ExpectRefused({10.5F, -20, 30, -0.25F},
                {FeceError("[FECE] Invalid bbox: [10.5, -20, 30, -0.25]")});
  ExpectRefused({10, -20, 30, 0}, {FeceError("[FECE] Invalid bbox: [10, -20, 30, 0]")});
}

TEST_F(JudgeFece, BoxLeftOfTheImageIsInvalid) {
  ExpectRefused({-30, 10, -5.5F, 50}, {FeceError("[FECE] Invalid bbox: [-30, 10, -5.5, 50]")});
  ExpectRefused({-30, 10, 0, 50}, {FeceError("[FECE] Invalid bbox: [-30, 10, 0, 50]")});
}

TEST_F(JudgeFece, BoxOfNoWidthOrHeightIsInvalid) {
  ExpectRefused({10, 20, 10, 40}, {FeceError("[FECE] Invalid bbox: [10, 20, 10, 40]")});
  ExpectRefused({10, 20, 30, 20}, {FeceError("[FECE] Invalid bbox: [10, 20, 30, 20]")});
}

TEST_F(JudgeFece, BoxInAnImageOfThreeDimensionsIsInvalid) {
  const int sizes[] = {50, 50, 50};
  images = ColorOnly(std::make_shared<cv::Mat>(3, sizes, CV_8UC3, cv::Scalar::all(0)));

  ExpectRefused({10, 20, 30, 40}, {FeceError("[FECE] Invalid bbox: [10, 20, 30, 40]")});
}

TEST_F(JudgeFece, InvertedBoxIsInvalid) {
  ExpectRefused({30, 20, 10, 40}, {FeceError("[FECE] Invalid bbox: [30, 20, 10, 40]")});
  ExpectRefused({10, 40, 30, 20}, {FeceError("[FECE] Invalid bbox: [10, 40, 30, 20]")});
}

TEST_F(JudgeFece, BoxWithinOnePixelIsThatPixel) {
  EXPECT_EQ(ClampedBox({10.2F, 20.3F, 10.4F, 20.9F}), BoxLine("[10, 20, 11, 21]", "1x1"));
}

TEST_F(JudgeFece, HugeCoordinatesSaturate) {
  EXPECT_EQ(ClampedBox({-1e30F, -1e30F, 1e30F, 1e30F}), BoxLine("[0, 0, 640, 480]", "640x480"));
  EXPECT_EQ(ClampedBox({-kInfinity, -kInfinity, kInfinity, kInfinity}),
            BoxLine("[0, 0, 640, 480]", "640x480"));
}

TEST_F(JudgeFece, ImageLargerThanTheFrameIsTakenToItsOwnEdges) {
  images = ColorOnly(ColorImage(1200, 2000));

  EXPECT_EQ(ClampedBox({1900, 1000, 2100, 1300}), BoxLine("[1900, 1000, 2000, 1200]", "100x200"));
}

TEST_F(JudgeFece, NotANumberCountsAsZero) {
  EXPECT_EQ(ClampedBox({kNaN, kNaN, 30, 40}), BoxLine("[0, 0, 30, 40]", "30x40"));
}

TEST_F(JudgeFece, FarEdgeThatIsNotANumberIsInvalid) {
  ExpectRefused({10, 20, kNaN, 40}, {FeceError("[FECE] Invalid bbox: [10, 20, nan, 40]")});
  ExpectRefused({10, 20, 30, kNaN}, {FeceError("[FECE] Invalid bbox: [10, 20, 30, nan]")});
}

TEST_F(JudgeFece, InfiniteBoxIsPrintedAsItCame) {
  ExpectRefused({kInfinity, 0, -kInfinity, 40},
                {FeceError("[FECE] Invalid bbox: [inf, 0, -inf, 40]")});
}

// --- Area gate ---

TEST_F(JudgeFece, AreaAtTheThresholdIsTooSmall) {
  Thresholds(0.9F, 420.0F);

  ExpectRefused({10.2F, 20.7F, 30.1F, 40.0F},
                {Debug("judge_fece",
                       "[FECE] bbox area too small: 420, threshold: 420, directly classify as "
                       "class 0")});
}

TEST_F(JudgeFece, AreaAboveTheThresholdIsClassified) {
  Thresholds(0.9F, 419.0F);

  EXPECT_TRUE(Judge({10.2F, 20.7F, 30.1F, 40.0F}));

  EXPECT_EQ(script::CallsOf(script::kInfer).size(), 1U);
}

TEST_F(JudgeFece, ThresholdIsPrintedAsAFloat) {
  Thresholds(0.9F, 1000.1F);  // 1000.0999755859375 as a double

  ExpectRefused({0, 0, 10, 20},
                {Debug("judge_fece",
                       "[FECE] bbox area too small: 200, threshold: 1000.1, directly classify as "
                       "class 0")});
}

TEST_F(JudgeFece, AreaIsThatOfTheClampedBox) {
  // 1 x 40 of what would be 100 x 40.
  Thresholds(0.9F, 40.0F);

  ExpectRefused({700, 10, 800, 50},
                {Debug("judge_fece",
                       "[FECE] bbox area too small: 40, threshold: 40, directly classify as "
                       "class 0")});
}

TEST_F(JudgeFece, AreaIsComparedAsAFloat) {
  // 24929 x 673 is 2^24 + 1, which no float is.
  images = ColorOnly(std::make_shared<cv::Mat>(673, 24929, CV_8UC1));
  Thresholds(0.9F, 16777216.0F);

  ExpectRefused({0, 0, 24929, 673},
                {Debug("judge_fece",
                       "[FECE] bbox area too small: 16777216, threshold: 16777216, directly "
                       "classify as class 0")});
}

TEST_F(JudgeFece, AreaThresholdThatIsNotANumberStopsNothing) {
  Thresholds(0.9F, kNaN);

  EXPECT_TRUE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, SmallBoxLeavesTheTensorAlone) {
  Thresholds(0.9F, 1e9F);
  const std::vector<std::uint8_t> before = *detector.fece_inputs_.at("input").data;

  EXPECT_FALSE(Judge({10, 10, 50, 50}));

  EXPECT_EQ(*detector.fece_inputs_.at("input").data, before);
}

TEST_F(JudgeFece, AreaIsCheckedBeforeTheBuffers) {
  Thresholds(0.9F, 1e9F);
  detector.fece_inputs_.clear();

  EXPECT_FALSE(Judge({0, 0, 10, 10}));

  ASSERT_EQ(log.GetLines().size(), 1U);
  EXPECT_EQ(log.GetLines()[0].level, spdlog::level::debug);
}

// --- Buffers and engine ---

TEST_F(JudgeFece, LogsTheBoxThenTheVerdict) {
  EXPECT_TRUE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines(),
            (Lines{BoxLine("[10, 20, 110, 70]", "100x50"),
                   Info("judge_fece",
                        "[FECE] logits=[0, 3], prob=[0.047425874, 0.95257413], class_id=1, "
                        "score=0.95257413")}));
}

TEST_F(JudgeFece, MissingInputBufferIsLogged) {
  detector.fece_inputs_.clear();

  ExpectRefused({10, 20, 110, 70}, {BoxLine("[10, 20, 110, 70]", "100x50"),
                                    FeceError("[FECE] Input buffer 'input' not found")});
}

TEST_F(JudgeFece, InputBufferOfAnotherNameDoesNotCount) {
  detector.fece_inputs_ = {{"Input", Buffer(602112)}};

  ExpectRefused({10, 20, 110, 70}, {BoxLine("[10, 20, 110, 70]", "100x50"),
                                    FeceError("[FECE] Input buffer 'input' not found")});
}

TEST_F(JudgeFece, WithTheSwitchOffNoEngineIsReached) {
  DirtySegDetector off;
  ASSERT_TRUE(off.Init(Config("{}")));
  script::Reset();

  for (int call = 0; call < 2; ++call) {
    log.Clear();
    EXPECT_FALSE(off.judge_fece(images, {10, 20, 110, 70}));
    EXPECT_EQ(log.GetLines(), (Lines{BoxLine("[10, 20, 110, 70]", "100x50"),
                                     FeceError("[FECE] Input buffer 'input' not found")}));
  }
  EXPECT_TRUE(script::Calls().empty());
}

TEST_F(JudgeFece, WithoutInitNoInputIsFound) {
  DirtySegDetector fresh;
  script::Reset();

  EXPECT_FALSE(fresh.judge_fece(images, {10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines(), (Lines{BoxLine("[10, 20, 110, 70]", "100x50"),
                                   FeceError("[FECE] Input buffer 'input' not found")}));
  EXPECT_TRUE(script::Calls().empty());
}

TEST_F(JudgeFece, RefusedCropIsLoggedTwice) {
  images = ColorOnly(std::make_shared<cv::Mat>(480, 640, CV_8UC1, cv::Scalar(0)));

  ExpectRefused({10, 20, 110, 70}, {BoxLine("[10, 20, 110, 70]", "100x50"),
                                    Error("PreProcessFece", "[FECE] Invalid image type: 0"),
                                    FeceError("[FECE] PreProcess failed")});
}

TEST_F(JudgeFece, ShortInputStorageIsLikeNone) {
  for (std::size_t bytes : {std::size_t{0}, std::size_t{602111}}) {
    detector.fece_inputs_.at("input") = Buffer(bytes);

    ExpectRefused({10, 20, 110, 70}, {BoxLine("[10, 20, 110, 70]", "100x50"),
                                      Error("PreProcessFece", "[FECE] Invalid input buffer"),
                                      FeceError("[FECE] PreProcess failed")});
  }
}

TEST_F(JudgeFece, EngineStatusIsLoggedWithoutTheTag) {
  for (int status : {7, -2}) {
    log.Clear();
    script::GetScript().inference_statuses = {status};

    EXPECT_FALSE(Judge({10, 20, 110, 70}));

    EXPECT_EQ(log.GetLines(),
              (Lines{BoxLine("[10, 20, 110, 70]", "100x50"),
                     FeceError("fece inference status is " + std::to_string(status))}));
  }
}

TEST_F(JudgeFece, EngineWorksOnTheFeceBuffers) {
  EXPECT_TRUE(Judge({10, 20, 110, 70}));

  const script::Call infer = script::CallsOf(script::kInfer)[0];
  EXPECT_EQ(infer.model_path, "fece.model");
  EXPECT_EQ(infer.inputs, &detector.fece_inputs_);
  EXPECT_EQ(infer.outputs, &detector.fece_outputs_);
}

TEST_F(JudgeFece, EngineGetsItsOtherInputsToo) {
  detector.fece_inputs_["second"] = Buffer(3);

  Judge({10, 20, 110, 70});

  EXPECT_EQ(script::CallsOf(script::kInfer)[0].input_bytes,
            (std::map<std::string, std::size_t>{{"input", 602112}, {"second", 3}}));
}

TEST_F(JudgeFece, FrameWithPaddedRowsIsReadAtItsStep) {
  cv::Mat wide(480, 300, CV_8UC3, cv::Scalar::all(0));
  wide.colRange(0, 100).setTo(cv::Scalar(0, 0, 255));
  images = ColorOnly(std::make_shared<cv::Mat>(wide.colRange(0, 100)));

  Judge({0, 0, 100, 480});

  const std::vector<float> tensor = FloatsOf(detector.fece_inputs_.at("input"));
  EXPECT_EQ(std::count(tensor.begin(), tensor.end(), (1.0F - 0.485F) / 0.229F), 224 * 224);
}

TEST_F(JudgeFece, EngineSeesTheCrop) {
  images.at("color")->rowRange(20, 70).colRange(10, 110).setTo(cv::Scalar(0, 0, 255));
  std::vector<float> tensor;
  script::GetScript().on_inference = [&](auto&, script::BufferMap& inputs, auto&) {
    tensor = FloatsOf(inputs.at("input"));
  };

  Judge({10, 20, 110, 70});

  ASSERT_EQ(tensor.size(), 3U * 224 * 224);
  const float high = (1.0F - 0.485F) / 0.229F;
  const float low = (0.0F - 0.406F) / 0.225F;
  EXPECT_EQ(tensor[0], high);
  EXPECT_EQ(tensor[224 * 224 - 1], high);
  EXPECT_EQ(tensor[3 * 224 * 224 - 1], low);
}

TEST_F(JudgeFece, FrameIsNotWritten) {
  EXPECT_TRUE(Judge({10, 20, 110, 70}));

  EXPECT_TRUE(SameImage(*images.at("color"), *ColorImage(480, 640, {10, 20, 30})));
}

TEST_F(JudgeFece, CropIsACopy) {
  bool is_sole_owner = false;
  script::GetScript().on_inference = [&](auto&, auto&, auto&) {
    is_sole_owner = IsSoleOwner(*images.at("color"));
  };

  Judge({10, 20, 110, 70});

  EXPECT_TRUE(is_sole_owner);
}

TEST_F(JudgeFece, ExceptionOfOpenCvPassesThrough) {
  // OpenCV cannot resize 32-bit integers.
  images = ColorOnly(std::make_shared<cv::Mat>(480, 640, CV_32SC3, cv::Scalar::all(0)));

  EXPECT_THROW(Judge({10, 20, 110, 70}), cv::Exception);

  EXPECT_EQ(log.GetLines(), Lines{BoxLine("[10, 20, 110, 70]", "100x50")});
}

TEST_F(JudgeFece, ExceptionOfTheEnginePassesThrough) {
  script::GetScript().on_inference = [](auto&, auto&, auto&) {
    throw std::runtime_error("engine");
  };

  EXPECT_THROW(Judge({10, 20, 110, 70}), std::runtime_error);

  EXPECT_EQ(log.GetLines(), Lines{BoxLine("[10, 20, 110, 70]", "100x50")});
}

TEST_F(JudgeFece, MissingOutputIsLogged) {
  detector.fece_outputs_.clear();
  script::GetScript().on_inference = nullptr;

  EXPECT_FALSE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines(), (Lines{BoxLine("[10, 20, 110, 70]", "100x50"),
                                   FeceError("[FECE] Output 'output' not found")}));
}

TEST_F(JudgeFece, StatusIsLookedAtBeforeTheOutput) {
  detector.fece_outputs_.clear();
  script::GetScript().on_inference = nullptr;
  script::GetScript().inference_statuses = {7};

  EXPECT_FALSE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines().back(), FeceError("fece inference status is 7"));
}

TEST_F(JudgeFece, OutputWithoutStorageIsInvalid) {
  script::GetScript().on_inference = nullptr;
  AIBuff null_storage;
  null_storage.data = nullptr;
  for (const AIBuff& buffer : {AIBuff(), null_storage}) {
    log.Clear();
    detector.fece_outputs_.at("output") = buffer;

    EXPECT_FALSE(Judge({10, 20, 110, 70}));

    EXPECT_EQ(log.GetLines(), (Lines{BoxLine("[10, 20, 110, 70]", "100x50"),
                                     FeceError("[FECE] Invalid output buffer")}));
  }
}

TEST_F(JudgeFece, OutputOneByteShortIsInvalid) {
  script::GetScript().on_inference = nullptr;
  detector.fece_outputs_.at("output") = Buffer(7);

  EXPECT_FALSE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines().back(), FeceError("[FECE] Invalid output buffer"));
}

TEST_F(JudgeFece, OutputIsLookedAtOnlyAfterTheInference) {
  detector.fece_outputs_.clear();
  script::GetScript().on_inference = [](auto&, auto&, script::BufferMap& outputs) {
    outputs["output"] = Buffer(8);
  };

  Judge({10, 20, 110, 70});

  EXPECT_EQ(log.GetLines().back(),
            Info("judge_fece", "[FECE] logits=[0, 0], prob=[0.5, 0.5], class_id=0, score=0.5"));
}

TEST_F(JudgeFece, LongerOutputIsReadFromItsStart) {
  detector.fece_outputs_.at("output") = Buffer(80);

  EXPECT_TRUE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, OtherOutputsAreNotRead) {
  for (const char* name : {"a", "outpu", "output_", "z"}) detector.fece_outputs_[name] = Buffer(8);

  EXPECT_TRUE(Judge({10, 20, 110, 70}));
}

// --- Verdict ---

TEST_F(JudgeFece, TieIsClassZero) {
  Answer(2.0F, 2.0F);
  Thresholds(-1.0F, 0.0F);

  EXPECT_FALSE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines().back(),
            Info("judge_fece", "[FECE] logits=[2, 2], prob=[0.5, 0.5], class_id=0, score=0.5"));
}

TEST_F(JudgeFece, ClassOneAboveTheThresholdIsYes) {
  Thresholds(0.9F, 0.0F);
  EXPECT_TRUE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, ClassOneBelowTheThresholdIsNo) {
  Thresholds(0.96F, 0.0F);
  EXPECT_FALSE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, ProbabilityMustBeStrictlyGreaterThanTheThreshold) {
  // expf(-200) is 0 in float, so that the probability is exactly 1.
  Answer(0.0F, 200.0F);
  Thresholds(1.0F, 0.0F);
  EXPECT_FALSE(Judge({10, 20, 110, 70}));
  EXPECT_EQ(log.GetLines().back(),
            Info("judge_fece", "[FECE] logits=[0, 200], prob=[0, 1], class_id=1, score=1"));

  Thresholds(0.99999994F, 0.0F);
  EXPECT_TRUE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, ClassZeroIsNoWhateverItsScore) {
  Answer(3.0F, 0.0F);
  Thresholds(0.0F, 0.0F);

  EXPECT_FALSE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines().back(),
            Info("judge_fece",
                 "[FECE] logits=[3, 0], prob=[0.95257413, 0.047425874], class_id=0, "
                 "score=0.95257413"));
}

TEST_F(JudgeFece, ProbabilitiesDecideNotLogits) {
  // Their difference is lost in the exponential: a tie.
  Answer(0.0F, 1e-9F);
  Thresholds(0.0F, 0.0F);

  EXPECT_FALSE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines().back(),
            Info("judge_fece", "[FECE] logits=[0, 1e-09], prob=[0.5, 0.5], class_id=0, score=0.5"));
}

TEST_F(JudgeFece, ProbabilitiesAreQuotientsInSinglePrecision) {
  // In double, and with the sum's reciprocal, the first comes out as 0.01243165.
  Answer(-4.375F, 0.0F);

  EXPECT_TRUE(Judge({10, 20, 110, 70}));

  EXPECT_EQ(log.GetLines().back(),
            Info("judge_fece",
                 "[FECE] logits=[-4.375, 0], prob=[0.012431651, 0.9875683], class_id=1, "
                 "score=0.9875683"));
}

TEST_F(JudgeFece, LargeLogitsDoNotOverflow) {
  // 1 / (1 + 1 / e) is 0.73106.
  Answer(1000.0F, 1001.0F);
  Thresholds(0.731F, 0.0F);
  EXPECT_TRUE(Judge({10, 20, 110, 70}));
  EXPECT_EQ(log.GetLines().back().text.rfind("[FECE] logits=[1000, 1001], prob=[0.268941", 0), 0U);

  Thresholds(0.7311F, 0.0F);
  EXPECT_FALSE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, LargeNegativeLogitsDoNotUnderflow) {
  Answer(-1001.0F, -1000.0F);
  Thresholds(0.731F, 0.0F);

  EXPECT_TRUE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, LogitsThatAreNotNumbersAreNo) {
  Thresholds(0.0F, 0.0F);
  Answer(kNaN, 3.0F);
  EXPECT_FALSE(Judge({10, 20, 110, 70}));
  EXPECT_EQ(log.GetLines().back(),
            Info("judge_fece", "[FECE] logits=[nan, 3], prob=[nan, nan], class_id=0, score=nan"));
  Answer(0.0F, kNaN);
  EXPECT_FALSE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, ScoreThresholdThatIsNotANumberIsNo) {
  Thresholds(kNaN, 0.0F);

  EXPECT_FALSE(Judge({10, 20, 110, 70}));
}

TEST_F(JudgeFece, CallsKeepNoState) {
  EXPECT_TRUE(Judge({10, 20, 110, 70}));
  script::GetScript().inference_statuses = {1};
  EXPECT_FALSE(Judge({10, 20, 110, 70}));
  EXPECT_TRUE(Judge({10, 20, 110, 70}));
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
