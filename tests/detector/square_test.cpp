// MakeSquare: grey borders on the two short sides.
#include <opencv2/core.hpp>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

class MakeSquare : public DetectorTest {};

const cv::Scalar kGrey(114, 114, 114);
const cv::Scalar kColor(10, 20, 30);

TEST_F(MakeSquare, WideImageGetsGreyRowsAboveAndBelow) {
  cv::Mat expected(640, 640, CV_8UC3, kGrey);
  expected(cv::Rect(0, 80, 640, 480)).setTo(kColor);

  EXPECT_TRUE(SameImage(detector.MakeSquare(cv::Mat(480, 640, CV_8UC3, kColor)), expected));
}

TEST_F(MakeSquare, TallImageGetsGreyColumnsLeftAndRight) {
  cv::Mat expected(640, 640, CV_8UC3, kGrey);
  expected(cv::Rect(80, 0, 480, 640)).setTo(kColor);

  EXPECT_TRUE(SameImage(detector.MakeSquare(cv::Mat(640, 480, CV_8UC3, kColor)), expected));
}

TEST_F(MakeSquare, OddDifferenceStaysOnePixelShort) {
  cv::Mat expected(102, 103, CV_8UC3, kGrey);
  expected(cv::Rect(0, 1, 103, 100)).setTo(kColor);

  EXPECT_TRUE(SameImage(detector.MakeSquare(cv::Mat(100, 103, CV_8UC3, kColor)), expected));
}

TEST_F(MakeSquare, OddDifferenceOfATallImageStaysOnePixelShort) {
  cv::Mat expected(103, 102, CV_8UC3, kGrey);
  expected(cv::Rect(1, 0, 100, 103)).setTo(kColor);

  EXPECT_TRUE(SameImage(detector.MakeSquare(cv::Mat(103, 100, CV_8UC3, kColor)), expected));
}

TEST_F(MakeSquare, OneColumnMoreThanRowsAddsNothing) {
  EXPECT_EQ(detector.MakeSquare(cv::Mat(100, 101, CV_8UC3, kColor)).size(), cv::Size(101, 100));
}

TEST_F(MakeSquare, OneRowMoreThanColumnsAddsNothing) {
  EXPECT_EQ(detector.MakeSquare(cv::Mat(101, 100, CV_8UC3, kColor)).size(), cv::Size(100, 101));
}

TEST_F(MakeSquare, SquareComesBackAsACopy) {
  const cv::Mat image(5, 5, CV_8UC3, kColor);

  const cv::Mat square = detector.MakeSquare(image);

  EXPECT_TRUE(SameImage(square, image));
  EXPECT_NE(square.data, image.data);
}

TEST_F(MakeSquare, ViewGetsPixelsOfItsMatrixBeforeGrey) {
  // As cv::copyMakeBorder does without cv::BORDER_ISOLATED: two rows on each side are there.
  const cv::Mat whole(10, 10, CV_8UC1, cv::Scalar(7));

  const cv::Mat square = detector.MakeSquare(whole(cv::Rect(2, 4, 6, 2)));

  EXPECT_TRUE(SameImage(square, cv::Mat(6, 6, CV_8UC1, cv::Scalar(7))));
}

TEST_F(MakeSquare, ArgumentIsNotChanged) {
  const cv::Mat image(2, 6, CV_8UC3, kColor);

  detector.MakeSquare(image);

  EXPECT_TRUE(SameImage(image, cv::Mat(2, 6, CV_8UC3, kColor)));
}

TEST_F(MakeSquare, FourthChannelOfTheBorderIsZero) {
  const cv::Mat square = detector.MakeSquare(cv::Mat(1, 3, CV_8UC4, cv::Scalar::all(7)));

  EXPECT_EQ(square.at<cv::Vec4b>(0, 0), cv::Vec4b(114, 114, 114, 0));
  EXPECT_EQ(square.at<cv::Vec4b>(1, 0), cv::Vec4b(7, 7, 7, 7));
  EXPECT_EQ(square.at<cv::Vec4b>(2, 2), cv::Vec4b(114, 114, 114, 0));
}

TEST_F(MakeSquare, KeepsTypeAndChannelsOfAFloatImage) {
  const cv::Mat square = detector.MakeSquare(cv::Mat(3, 1, CV_32FC1, cv::Scalar(0.5)));

  ASSERT_EQ(square.type(), CV_32FC1);
  EXPECT_EQ(square.at<float>(1, 0), 114.0F);
  EXPECT_EQ(square.at<float>(1, 1), 0.5F);
  EXPECT_EQ(square.at<float>(1, 2), 114.0F);
}

TEST_F(MakeSquare, LogsNothing) {
  detector.MakeSquare(cv::Mat(3, 9, CV_8UC3, kColor));

  EXPECT_EQ(log.GetLines(), Lines{});
}

TEST_F(MakeSquare, WorksOnADetectorThatWasNeverInitialised) {
  EXPECT_EQ(detector.MakeSquare(cv::Mat(2, 4, CV_8UC3, kColor)).size(), cv::Size(4, 4));
  EXPECT_EQ(detector.config_, nullptr);
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
