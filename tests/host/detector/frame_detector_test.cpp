// The detector with the log capture, on small networks.
//
// seg-b2-64 finds one box per patch: in a patch of 64 x 64 pixels [16, 24, 48, 40], all mask,
// class 0 with the patch's mean of red as score, class 1 with that of green, whichever is more.
#include "detector/frame_detector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/errors.h"
#include "detector/log_capture.h"
#include "engine/ai_engine.h"
#include "networks/networks.h"
#include "support/environment.h"
#include "support/paths.h"
#include "support/pictures.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using test::CommonNetwork;
using test::HostNetwork;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::SizeIs;

constexpr const char* kPatches =
    "patch: {enable: true, patches: [[0, 0, 64, 64], [640, 440, 64, 64]]}\n";

class FrameDetectorTest : public testing::Test {
 protected:
  DirtySegDetectorConfig MakeConfig(const std::string& model, const std::string& yaml = kPatches) {
    DirtySegDetectorConfig config;
    config.yaml_config_path = folder_.Write("config.yaml", yaml);
    config.dirty_seg_model_config = ReadSegmentationNetwork(model, 2, 1).config;
    return config;
  }

  static void UseClassifier(const std::string& model, DirtySegDetectorConfig& config) {
    config.fece_enable = true;
    config.fece_class_ids = {0};
    config.fece_score_threshold = 0.5F;
    config.fece_area_threshold = 400.0F;
    config.fece_model_config = ReadFeceNetwork(model, 1);
  }

  FrameOutcome Detect(const DirtySegDetectorConfig& config, const cv::Mat& picture) {
    LogCapture log;
    return FrameDetector(config, log).Detect(std::make_shared<cv::Mat>(picture));
  }

  test::TemporaryFolder folder_;
  // The library reads them once, in whichever test is first.
  test::ScopedVariable output_{"SPDLOG_STDOUT", std::nullopt};
  test::ScopedVariable level_{"SPDLOG_LEVEL", std::nullopt};
};

TEST_F(FrameDetectorTest, FindsOneBoxAPatchAndTellsEveryStage) {
  cv::Mat picture = test::Plain(test::kFrame, test::kBlackPixel);
  picture(cv::Rect(0, 0, 64, 64)).setTo(test::kRedPixel);
  picture(cv::Rect(640, 440, 64, 32)).setTo(test::kGreenPixel);  // half of the second patch
  const FrameOutcome outcome = Detect(MakeConfig(CommonNetwork("seg-b2-64")), picture);
  EXPECT_TRUE(outcome.result.success);
  EXPECT_EQ(outcome.result.message, "success");
  EXPECT_THAT(outcome.result.bboxes, ElementsAre(ElementsAre(16.0F, 24.0F, 48.0F, 40.0F),
                                                 ElementsAre(656.0F, 464.0F, 688.0F, 480.0F)));
  EXPECT_THAT(outcome.result.labels, ElementsAre(0, 1));
  EXPECT_THAT(outcome.result.scores, ElementsAre(1.0F, 0.5F));
  EXPECT_THAT(outcome.result.mask_pixel_counts, ElementsAre(512.0F, 512.0F));
  ASSERT_TRUE(outcome.stages.inference && outcome.stages.postprocess && outcome.stages.convert);
  EXPECT_GT(*outcome.stages.inference, 0.0);
  EXPECT_GT(outcome.total_ms, *outcome.stages.inference);
  EXPECT_FALSE(outcome.stages.classify);  // there is no classifier
  EXPECT_THAT(outcome.complaints, IsEmpty());
}

// Its numbers are all not-a-number in a slot without blue: of the second patch here, a half of
// 2 x 38 x 84 = 6384 predictions and of 2 x 32 x 16 x 16 = 16384 prototypes.
TEST_F(FrameDetectorTest, TellsHowManyNumbersWereNotFiniteInEachFrameOfItsOwn) {
  LogCapture log;
  FrameDetector detector(MakeConfig(CommonNetwork("seg-b2-64-nan")), log);
  cv::Mat picture = test::Plain(test::kFrame, test::kMagentaPixel);
  const auto sound = std::make_shared<cv::Mat>(picture.clone());
  picture(cv::Rect(640, 440, 64, 64)).setTo(test::kRedPixel);
  const auto broken = std::make_shared<cv::Mat>(picture);
  const FrameOutcome outcome = detector.Detect(broken);
  EXPECT_TRUE(outcome.result.success);
  EXPECT_THAT(outcome.result.labels, ElementsAre(0));
  EXPECT_THAT(outcome.non_finite, ElementsAre(Pair("output0", 3192), Pair("output1", 8192)));
  EXPECT_EQ(NonFiniteText(outcome.non_finite),
            "the network gave numbers that are not finite (3192 in 'output0', 8192 in 'output1'): "
            "they are left out, so dirt may be missed");
  EXPECT_THAT(detector.Detect(sound).non_finite, IsEmpty());
}

TEST_F(FrameDetectorTest, LaysNoNumbersOfAnotherFrameToOneThatFails) {
  LogCapture log;
  FrameDetector broken(MakeConfig(CommonNetwork("seg-b2-64-nan")), log);
  FrameDetector failing(MakeConfig(HostNetwork("seg-fails-on-red")), log);
  const auto red = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kRedPixel));
  EXPECT_THAT(broken.Detect(red).non_finite, SizeIs(2));
  EXPECT_THAT(failing.Detect(red).non_finite, IsEmpty());
}

// Of the classifier-224, logits are red and blue, normalised: (1 - 0.485) / 0.229 = 2.25 for full
// red, (1 - 0.406) / 0.225 = 2.64 for full blue, -1.8 for none. So magenta is confirmed with
// 1 / (1 + e^(2.25 - 2.64)) = 0.60, red is not.
TEST_F(FrameDetectorTest, AsksTheClassifier) {
  DirtySegDetectorConfig config = MakeConfig(CommonNetwork("seg-b2-64"));
  UseClassifier(CommonNetwork("classifier-224"), config);
  cv::Mat picture = test::Plain(test::kFrame, test::kRedPixel);
  picture(cv::Rect(640, 440, 64, 64)).setTo(test::kMagentaPixel);
  EXPECT_THAT(Detect(config, picture).result.labels, ElementsAre(0, 19));
}

TEST_F(FrameDetectorTest, TellsTheClassifiersTimeApart) {
  DirtySegDetectorConfig config = MakeConfig(CommonNetwork("seg-b2-64"));
  UseClassifier(CommonNetwork("classifier-224"), config);
  LogCapture log;
  FrameDetector detector(config, log);
  const auto red = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kRedPixel));
  const auto black = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kBlackPixel));
  for (int frame = 0; frame < 2; ++frame) {
    const FrameOutcome outcome = detector.Detect(red);
    const StageTimes logged = ReadFrameLog(outcome.lines.log).times;
    ASSERT_TRUE(logged.convert && outcome.stages.classify && outcome.stages.convert);
    EXPECT_GT(*outcome.stages.classify, 0.0);
    EXPECT_GE(*outcome.stages.convert, 0.0);
    EXPECT_NEAR(*outcome.stages.classify + *outcome.stages.convert, *logged.convert, 1e-9);
  }
  const FrameOutcome none = detector.Detect(black);  // without a candidate
  EXPECT_EQ(none.stages.classify, 0.0);
  EXPECT_EQ(none.stages.convert, ReadFrameLog(none.lines.log).times.convert);
}

TEST_F(FrameDetectorTest, LaysNoOtherRunsToTheClassifier) {
  DirtySegDetectorConfig config = MakeConfig(CommonNetwork("seg-b2-64"));
  UseClassifier(CommonNetwork("classifier-224"), config);
  LogCapture log;
  FrameDetector detector(config, log);
  nuvik::alg::common::AIEngine other;
  ASSERT_EQ(other.Init(config.fece_model_config), 0);
  std::map<std::string, nuvik::alg::common::AIBuff> inputs;
  std::map<std::string, nuvik::alg::common::AIBuff> outputs;
  inputs["input"].data->resize(std::size_t{3} * 224 * 224 * sizeof(float));
  outputs["output"].data->resize(2 * sizeof(float));
  // Together longer than the segmentation network takes.
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(other.DoInference(inputs, outputs), nuvik::alg::common::kAIOk);
  }
  const auto black = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kBlackPixel));
  EXPECT_EQ(detector.Detect(black).stages.classify, 0.0);
}

TEST_F(FrameDetectorTest, RepeatsAComplaintOfAFrameThatWentThrough) {
  DirtySegDetectorConfig config = MakeConfig(CommonNetwork("seg-b2-64"));
  UseClassifier(HostNetwork("classifier-fails-on-red"), config);
  const FrameOutcome outcome = Detect(config, test::Plain(test::kFrame, test::kRedPixel));
  EXPECT_TRUE(outcome.result.success);
  EXPECT_THAT(outcome.result.labels, ElementsAre(0, 0));
  EXPECT_THAT(outcome.complaints,
              ElementsAre("fece inference status is 5", "fece inference status is 5"));
}

TEST_F(FrameDetectorTest, ComplainsOfAClassifierWhoseAnswersAreNotANumber) {
  DirtySegDetectorConfig config = MakeConfig(CommonNetwork("seg-b2-64"));
  UseClassifier(CommonNetwork("classifier-224-nan"), config);
  const FrameOutcome outcome = Detect(config, test::Plain(test::kFrame, test::kRedPixel));
  EXPECT_THAT(outcome.result.labels, ElementsAre(0, 0));
  EXPECT_THAT(outcome.complaints,
              ElementsAre("the classifier's answer is not a number for 2 candidates"));
  ASSERT_TRUE(outcome.fece_candidates);
  for (const FeceCandidate& candidate : *outcome.fece_candidates) {
    EXPECT_EQ(candidate.verdict, FeceVerdict::kFailed);
  }
}

TEST_F(FrameDetectorTest, TellsTheCauseOfAFailureAndGoesOn) {
  const DirtySegDetectorConfig config = MakeConfig(HostNetwork("seg-fails-on-red"));
  LogCapture log;
  FrameDetector detector(config, log);
  const auto red = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kRedPixel));
  const auto green = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kGreenPixel));
  const FrameOutcome failed = detector.Detect(red);
  EXPECT_FALSE(failed.result.success);
  EXPECT_EQ(failed.result.message, "Dirty seg detection inference status is 5");
  EXPECT_THAT(failed.result.bboxes, IsEmpty());
  EXPECT_THAT(failed.complaints, IsEmpty());
  EXPECT_TRUE(failed.stages.inference);
  EXPECT_FALSE(failed.stages.convert);
  EXPECT_THAT(detector.Detect(green).result.labels, ElementsAre(1, 1));
}

TEST_F(FrameDetectorTest, TellsAnExceptionAsTheCauseInOneLine) {
  // What the patch shows of such a picture, 1 x 1000, scaled to a height of 64, has no column left.
  const DirtySegDetectorConfig config = MakeConfig(
      CommonNetwork("seg-b2-64"), "patch: {enable: true, patches: [[0, 0, 1000, 1000]]}");
  const FrameOutcome outcome = Detect(config, test::Plain({1, 1000}, test::kRedPixel));
  EXPECT_FALSE(outcome.result.success);
  EXPECT_THAT(outcome.result.message, AllOf(HasSubstr("resize"), Not(HasSubstr("\n"))));
}

TEST_F(FrameDetectorTest, RefusesAPostprocessKeyWithTheFilesNames) {
  const std::string model = CommonNetwork("seg-b2-64");
  const DirtySegDetectorConfig config =
      MakeConfig(model, std::string(kPatches) + "postprocess: {score_threshold: 2}\n");
  LogCapture log;
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { FrameDetector(config, log); }),
            "'" + model + "' with '" + config.yaml_config_path +
                "': postprocess.score_threshold in line 2 is '2'; expected a number from 0 to 1");
  EXPECT_THAT(
      test::RejectionOf<SetupError>([&] { FrameDetector(config, log, std::nullopt, "mine.yaml"); }),
      testing::StartsWith("'" + model + "' with 'mine.yaml': postprocess"));
}

TEST_F(FrameDetectorTest, RefusesANetworkThatDoesNotLoad) {
  DirtySegDetectorConfig config = MakeConfig(CommonNetwork("seg-b2-64"));
  config.dirty_seg_model_config.model_path = folder_ / "gone.onnx";
  LogCapture log;
  EXPECT_THAT(
      test::RejectionOf<SetupError>([&] { FrameDetector(config, log); }),
      EndsWith("the engine could not load the networks; the engine's message above says why"));
}

TEST(SeparateClassifier, TakesAllRunsButTheFirstOutOfConvert) {
  StageTimes stages{12.0, 3.0, std::nullopt, 5.0};
  SeparateClassifier({3, 15.0}, stages);
  EXPECT_EQ(stages.inference, 12.0);
  EXPECT_EQ(stages.postprocess, 3.0);
  EXPECT_EQ(stages.classify, 3.0);
  EXPECT_EQ(stages.convert, 2.0);
}

TEST(SeparateClassifier, IsNothingWithoutACandidate) {
  StageTimes stages{12.0, 3.0, std::nullopt, 5.0};
  SeparateClassifier({1, 12.5}, stages);
  EXPECT_EQ(stages.classify, 0.0);
  EXPECT_EQ(stages.convert, 5.0);
}

TEST(SeparateClassifier, StaysWithinConvertWhenTheLogsClockIsSet) {
  StageTimes ahead{50.0, 3.0, std::nullopt, 5.0};
  SeparateClassifier({2, 15.0}, ahead);
  EXPECT_EQ(ahead.classify, 0.0);
  EXPECT_EQ(ahead.convert, 5.0);
  StageTimes back{1.0, 3.0, std::nullopt, 5.0};
  SeparateClassifier({2, 15.0}, back);
  EXPECT_EQ(back.classify, 5.0);
  EXPECT_EQ(back.convert, 0.0);
}

TEST(SeparateClassifier, LeavesAFrameAloneThatFailedBefore) {
  StageTimes stages{12.0, std::nullopt, std::nullopt, std::nullopt};
  SeparateClassifier({1, 12.0}, stages);
  EXPECT_FALSE(stages.classify);
  EXPECT_FALSE(stages.convert);
}

}  // namespace
}  // namespace dirty_seg
