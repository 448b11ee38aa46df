// Pictures of any size in the frame, and results back in their pixels.
#include "frames/frame_fit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "base/errors.h"
#include "support/pictures.h"
#include "support/rejection.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;

const cv::Vec3b kGrey(114, 114, 114);

TEST(FitToFrame, ScalesUntilOneSideIsTheFrames) {
  const FrameFit large = FitToFrame({3840, 2160}, FitMode::kScale);
  EXPECT_EQ(large.scale, 0.5);
  EXPECT_EQ(large.placed, cv::Size(1920, 1080));
  const FrameFit small = FitToFrame({480, 360}, FitMode::kScale);
  EXPECT_EQ(small.scale, 3.0);
  EXPECT_EQ(small.placed, cv::Size(1440, 1080));
  const FrameFit wide = FitToFrame({1000, 100}, FitMode::kScale);
  EXPECT_EQ(wide.scale, 1.92);
  EXPECT_EQ(wide.placed, cv::Size(1920, 192));
}

TEST(FitToFrame, RoundsASideThatComesOutBroken) {
  // 1080 / 1920 of 1081 is 608.06, of 1079 is 606.94.
  EXPECT_EQ(FitToFrame({1081, 1920}, FitMode::kScale).placed, cv::Size(608, 1080));
  EXPECT_EQ(FitToFrame({1079, 1920}, FitMode::kScale).placed, cv::Size(607, 1080));
}

TEST(FitToFrame, KeepsALineOfAnExtremePicture) {
  EXPECT_EQ(FitToFrame({10000, 1}, FitMode::kScale).placed, cv::Size(1920, 1));
  EXPECT_EQ(FitToFrame({1, 1}, FitMode::kScale).placed, cv::Size(1080, 1080));
}

TEST(FitToFrame, OnlyPadsWhenToldTo) {
  const FrameFit fit = FitToFrame({480, 360}, FitMode::kPad);
  EXPECT_EQ(fit.scale, 1.0);
  EXPECT_EQ(fit.placed, cv::Size(480, 360));
}

TEST(FitToFrame, RefusesToPadALargerPicture) {
  for (const cv::Size& size : {cv::Size(1921, 1080), cv::Size(1920, 1081)}) {
    const std::string text = std::to_string(size.width) + " x " + std::to_string(size.height);
    EXPECT_EQ(test::RejectionOf<InputError>([&] { FitToFrame(size, FitMode::kPad); }),
              "is " + text +
                  ", larger than the frame of 1920 x 1080; expected one that fits in, or "
                  "--fit scale");
  }
}

TEST(PlaceInFrame, HandsOnAPictureOfTheFramesSize) {
  const auto picture = std::make_shared<cv::Mat>(test::Plain(test::kFrame, test::kRedPixel));
  for (const FitMode mode : {FitMode::kScale, FitMode::kPad}) {
    EXPECT_EQ(PlaceInFrame(picture, FitToFrame(picture->size(), mode)), picture);
  }
}

TEST(PlaceInFrame, PadsRightAndBelowWithGrey) {
  const auto picture = std::make_shared<cv::Mat>(test::Plain({1700, 1000}, test::kRedPixel));
  const cv::Mat frame = *PlaceInFrame(picture, FitToFrame(picture->size(), FitMode::kPad));
  ASSERT_EQ(frame.size(), test::kFrame);
  EXPECT_EQ(frame.at<cv::Vec3b>(999, 1699), cv::Vec3b(0, 0, 255));
  EXPECT_EQ(cv::norm(frame(cv::Rect(0, 0, 1700, 1000)), *picture, cv::NORM_INF), 0.0);
  cv::Mat border = frame != cv::Scalar::all(114);
  border(cv::Rect(0, 0, 1700, 1000)).setTo(0);
  EXPECT_EQ(cv::countNonZero(border.reshape(1)), 0);
}

// Every second pixel white: passing pixels over would give white or black, their mean is 127 or
// 128.
TEST(PlaceInFrame, TakesTheMeanOfPixelsThatItJoins) {
  cv::Mat stripes(2160, 3840, CV_8UC3, cv::Scalar::all(0));
  for (int x = 0; x < stripes.cols; x += 2) stripes.col(x).setTo(cv::Scalar::all(255));
  const auto picture = std::make_shared<cv::Mat>(stripes);
  const cv::Mat frame = *PlaceInFrame(picture, FitToFrame(picture->size(), FitMode::kScale));
  ASSERT_EQ(frame.size(), test::kFrame);
  EXPECT_NEAR(frame.at<cv::Vec3b>(500, 900)[0], 127.5, 0.6);
}

TEST(PlaceInFrame, EnlargesASmallerPicture) {
  const auto picture = std::make_shared<cv::Mat>(test::Plain({480, 360}, test::kGreenPixel));
  const cv::Mat frame = *PlaceInFrame(picture, FitToFrame(picture->size(), FitMode::kScale));
  const cv::Mat expected = test::Plain({1440, 1080}, test::kGreenPixel);
  EXPECT_EQ(cv::norm(frame(cv::Rect(0, 0, 1440, 1080)), expected, cv::NORM_INF), 0.0);
  EXPECT_EQ(frame.at<cv::Vec3b>(0, 1440), kGrey);
}

TEST(ResultInPicture, ScalesBoxesBack) {
  DirtyStatusResultData result;
  result.bboxes = {{10.0F, 20.0F, 30.5F, 1080.0F}};
  const FrameFit half = FitToFrame({3840, 2160}, FitMode::kScale);
  EXPECT_THAT(ResultInPicture(result, half).bboxes[0], ElementsAre(20.0F, 40.0F, 61.0F, 2160.0F));
}

TEST(ResultInPicture, CutsBoxesToAPictureThatIsNotTheWholeFrame) {
  DirtyStatusResultData result;
  result.bboxes = {{-3.0F, 20.0F, 30.5F, 1090.0F}, {120.0F, 0.0F, 140.0F, 10.0F}};
  const FrameFit padded = FitToFrame({100, 50}, FitMode::kPad);
  EXPECT_THAT(ResultInPicture(result, padded).bboxes,
              ElementsAre(ElementsAre(0.0F, 20.0F, 30.5F, 50.0F),
                          ElementsAre(100.0F, 0.0F, 100.0F, 10.0F)));
  EXPECT_TRUE(ReachesIntoPicture(result.bboxes[0], padded));
  EXPECT_FALSE(ReachesIntoPicture(result.bboxes[1], padded));
  const FrameFit whole = FitToFrame({1920, 1080}, FitMode::kPad);
  EXPECT_EQ(ResultInPicture(result, whole).bboxes, result.bboxes);
  EXPECT_TRUE(ReachesIntoPicture(result.bboxes[1], whole));
}

// 1081 pixels are 608 of the frame.
TEST(ResultInPicture, ScalesBoxesByTheSideAsItWasRounded) {
  DirtyStatusResultData result;
  result.bboxes = {{0.0F, 0.0F, 608.0F, 540.0F}};
  const FrameFit fit = FitToFrame({1081, 1920}, FitMode::kScale);
  EXPECT_THAT(ResultInPicture(result, fit).bboxes[0], ElementsAre(0.0F, 0.0F, 1081.0F, 960.0F));
}

TEST(ResultInPicture, EnlargesMasksOfALargePicture) {
  DirtyStatusResultData result;
  result.label_masks[3] = cv::Mat::zeros(1080, 1920, CV_8UC1);
  result.label_masks[3](cv::Rect(10, 20, 3, 2)).setTo(255);
  const FrameFit fit = FitToFrame({3840, 2160}, FitMode::kScale);
  const cv::Mat mask = ResultInPicture(result, fit).label_masks.at(3);
  ASSERT_EQ(mask.size(), cv::Size(3840, 2160));
  EXPECT_EQ(cv::boundingRect(mask), cv::Rect(20, 40, 6, 4));
  EXPECT_EQ(cv::countNonZero(mask), 24);
}

// A pixel of the picture is three of the frame; the middle one decides.
TEST(ResultInPicture, TakesWhatTheFrameHasAtAPixelsCentre) {
  DirtyStatusResultData result;
  result.label_masks[3] = cv::Mat::zeros(1080, 1920, CV_8UC1);
  result.label_masks[3](cv::Rect(31, 61, 3, 3)).setTo(255);  // centres of columns 10 and, not, 11
  const FrameFit fit = FitToFrame({640, 360}, FitMode::kScale);
  const cv::Mat mask = ResultInPicture(result, fit).label_masks.at(3);
  ASSERT_EQ(mask.size(), cv::Size(640, 360));
  EXPECT_EQ(cv::boundingRect(mask), cv::Rect(10, 20, 1, 1));
}

TEST(ResultInPicture, LeavesOutWhatIsFoundInThePadding) {
  DirtyStatusResultData result;
  result.label_masks[3] = cv::Mat(1080, 1920, CV_8UC1, cv::Scalar(255));
  const FrameFit fit = FitToFrame({100, 50}, FitMode::kPad);
  const cv::Mat mask = ResultInPicture(result, fit).label_masks.at(3);
  EXPECT_EQ(mask.size(), cv::Size(100, 50));
  EXPECT_EQ(cv::countNonZero(mask), 5000);
}

}  // namespace
}  // namespace dirty_seg
