// The overlay: what is changed, what is left alone, where tags go.
#include "drawing/overlay.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "support/pictures.h"

namespace dirty_seg {
namespace {

const Labels kLabels({{0, "spill"}}, true);
const cv::Vec3b kGrey(128, 128, 128);

cv::Mat Grey(const cv::Size& size) { return {size, CV_8UC3, cv::Scalar(128, 128, 128)}; }

cv::Mat FrameMask(const cv::Rect& area) {
  cv::Mat mask = cv::Mat::zeros(test::kFrame, CV_8UC1);
  mask(area).setTo(255);
  return mask;
}

FrameOutcome OneBox(int label, const std::vector<float>& bbox) {
  FrameOutcome outcome;
  outcome.result.bboxes = {bbox};
  outcome.result.scores = {0.5F};
  outcome.result.labels = {label};
  return outcome;
}

// Of a picture that is the whole frame, or as large as the masks.
cv::Mat Draw(const cv::Mat& picture, const FrameOutcome& outcome, const Labels& labels) {
  const FrameFit fit{test::kFrame, test::kFrame, 1.0};
  return DrawOverlay(picture, ShowDetections(outcome, outcome.result, fit, labels), labels);
}

int ChangedPixels(const cv::Mat& overlay) {
  cv::Mat difference;
  cv::absdiff(overlay, Grey(overlay.size()), difference);
  return cv::countNonZero(difference.reshape(1));
}

TEST(Overlay, WithoutADetectionIsThePicture) {
  const cv::Mat picture = Grey(test::kFrame);
  EXPECT_EQ(ChangedPixels(Draw(picture, {}, kLabels)), 0);
}

TEST(Overlay, LeavesThePictureAlone) {
  const cv::Mat picture = Grey(test::kFrame);
  const cv::Mat overlay = Draw(picture, OneBox(0, {100, 100, 300, 300}), kLabels);
  EXPECT_GT(ChangedPixels(overlay), 0);
  EXPECT_EQ(ChangedPixels(picture), 0);
}

TEST(Overlay, TintsAMaskAndNothingAroundIt) {
  FrameOutcome found;
  found.result.label_masks[0] = FrameMask(cv::Rect(400, 300, 200, 100));
  const cv::Mat overlay = Draw(Grey(test::kFrame), found, kLabels);
  // 0.6 of 128 and 0.4 of orange (0, 159, 230): 76.8, 140.4, 168.8.
  EXPECT_EQ(overlay.at<cv::Vec3b>(350, 500), cv::Vec3b(77, 140, 169));
  EXPECT_EQ(overlay.at<cv::Vec3b>(350, 380), kGrey);
  EXPECT_EQ(overlay.at<cv::Vec3b>(420, 500), kGrey);
}

TEST(Overlay, OutlinesAMask) {
  FrameOutcome found;
  found.result.label_masks[0] = FrameMask(cv::Rect(400, 300, 200, 100));
  const cv::Mat overlay = Draw(Grey(test::kFrame), found, kLabels);
  EXPECT_EQ(overlay.at<cv::Vec3b>(300, 500), cv::Vec3b(0, 159, 230));
}

TEST(Overlay, DrawsAThinBoxThatLeavesItsInsideAlone) {
  const cv::Mat overlay = Draw(Grey(test::kFrame), OneBox(0, {800, 400, 1200, 800}), kLabels);
  EXPECT_EQ(overlay.at<cv::Vec3b>(600, 800), cv::Vec3b(0, 159, 230));
  EXPECT_EQ(overlay.at<cv::Vec3b>(600, 1000), kGrey);
  EXPECT_EQ(overlay.at<cv::Vec3b>(600, 806), kGrey);
  EXPECT_EQ(overlay.at<cv::Vec3b>(600, 794), kGrey);
}

TEST(Overlay, SetsABoxOffFromItsBackground) {
  const cv::Mat overlay = Draw(Grey(test::kFrame), OneBox(0, {800, 400, 1200, 800}), kLabels);
  const auto at = [&overlay](int x) { return overlay.at<cv::Vec3b>(600, x); };
  const cv::Vec3b black(0, 0, 0);
  EXPECT_TRUE(at(798) == black || at(799) == black);
  EXPECT_TRUE(at(801) == black || at(802) == black);
}

TEST(Overlay, GivesConfirmedFaecesASecondBoxAndItsOwnColour) {
  const cv::Mat overlay = Draw(Grey(test::kFrame), OneBox(19, {800, 400, 1200, 800}), kLabels);
  const cv::Vec3b red(17, 51, 204);
  EXPECT_EQ(overlay.at<cv::Vec3b>(600, 800), red);
  EXPECT_EQ(overlay.at<cv::Vec3b>(600, 794), red);
}

TEST(Overlay, OfLabel19WithoutAClassifierIsLikeAnyOther) {
  const cv::Mat overlay =
      Draw(Grey(test::kFrame), OneBox(19, {800, 400, 1200, 800}), Labels({{19, "cow"}}, false));
  EXPECT_EQ(overlay.at<cv::Vec3b>(600, 794), kGrey);
}

// Label 19 has the second colour, (233, 180, 86); confirmed faeces have (17, 51, 204).
class SharedLabel : public testing::Test {
 protected:
  // A cow, and to its right what the classifier confirmed, with one mask.
  SharedLabel() {
    found_ = OneBox(19, {400, 400, 600, 600});
    found_.result.bboxes.push_back({800, 400, 1000, 600});
    found_.result.scores.push_back(0.5F);
    found_.result.labels.push_back(19);
    found_.fece_candidates = {{1, FeceVerdict::kConfirmed, 0.75F}};
  }

  cv::Vec3b At(int x, int y) const {
    return Draw(Grey(test::kFrame), found_, Labels({{19, "cow"}}, true)).at<cv::Vec3b>(y, x);
  }

  FrameOutcome found_;
};

TEST_F(SharedLabel, GivesTheNetworksOwnASingleBoxInTheColourOfItsLabel) {
  EXPECT_EQ(At(400, 500), cv::Vec3b(233, 180, 86));
  EXPECT_EQ(At(394, 500), kGrey);
  EXPECT_EQ(At(800, 500), cv::Vec3b(17, 51, 204));
  EXPECT_EQ(At(794, 500), cv::Vec3b(17, 51, 204));
}

// 0.6 of 128 is 76.8; 0.4 of the colours are 93.2, 72, 34.4 and 6.8, 20.4, 81.6.
TEST_F(SharedLabel, TintsTheMaskInTheBoxOfAConfirmedOneAsItsOwn) {
  found_.result.label_masks[19] = FrameMask(cv::Rect(420, 420, 160, 160));
  found_.result.label_masks[19](cv::Rect(820, 420, 160, 160)).setTo(255);
  EXPECT_EQ(At(500, 500), cv::Vec3b(170, 149, 111));
  EXPECT_EQ(At(900, 500), cv::Vec3b(84, 97, 158));
}

TEST(Overlay, FitsAPictureSmallerThanTheMask) {
  FrameOutcome found = OneBox(0, {10, 10, 1800, 1000});
  found.result.label_masks[0] = FrameMask(cv::Rect(20, 20, 1500, 900));
  const cv::Mat overlay = Draw(Grey({64, 48}), found, kLabels);
  EXPECT_EQ(overlay.size(), cv::Size(64, 48));
  EXPECT_GT(ChangedPixels(overlay), 0);
}

TEST(Overlay, FitsAPictureLargerThanTheMask) {
  FrameOutcome found;
  found.result.label_masks[0] = FrameMask(cv::Rect(1800, 1000, 120, 80));
  const cv::Mat overlay = Draw(Grey({3840, 2160}), found, kLabels);
  EXPECT_NE(overlay.at<cv::Vec3b>(1040, 1860), kGrey);
  EXPECT_EQ(overlay.at<cv::Vec3b>(1100, 1860), kGrey);
}

TEST(Overlay, LeavesOutWhatLiesOutsideThePicture) {
  FrameOutcome found = OneBox(0, {1000, 1000, 1200, 1200});
  found.result.label_masks[0] = FrameMask(cv::Rect(1000, 900, 100, 100));
  EXPECT_EQ(ChangedPixels(Draw(Grey({640, 480}), found, kLabels)), 0);
}

TEST(Overlay, TakesNumbersThatNoPictureHas) {
  const float huge = std::numeric_limits<float>::max();
  const float infinite = std::numeric_limits<float>::infinity();
  const float no_number = std::numeric_limits<float>::quiet_NaN();
  const cv::Mat picture = Grey({320, 240});
  EXPECT_EQ(Draw(picture, OneBox(0, {-huge, -infinite, huge, infinite}), kLabels).size(),
            picture.size());
  EXPECT_EQ(Draw(picture, OneBox(-5, {no_number, 0, 10, 10}), kLabels).size(), picture.size());
}

TEST(LabelColour, IsTheSameAfterSixAndNeverThatOfFaeces) {
  EXPECT_EQ(LabelColour(0, false), LabelColour(6, false));
  for (int label = 0; label < 6; ++label) {
    EXPECT_NE(LabelColour(label, false), LabelColour(19, true)) << label;
    for (int other = 0; other < label; ++other) {
      EXPECT_NE(LabelColour(label, false), LabelColour(other, false)) << label << " " << other;
    }
  }
}

constexpr int kTagWidth = 80;
constexpr int kTagHeight = 20;
const cv::Size kTag(kTagWidth, kTagHeight);

TEST(PlaceTag, StandsOnTheBox) {
  EXPECT_EQ(PlaceTag({300, 200, 100, 90}, kTag, test::kFrame, {}), cv::Rect(300, 180, 80, 20));
}

TEST(PlaceTag, MovesInsideAtTheUpperEdge) {
  EXPECT_EQ(PlaceTag({300, 5, 100, 90}, kTag, test::kFrame, {}), cv::Rect(300, 0, 80, 20));
}

TEST(PlaceTag, MovesInsideAtTheSides) {
  EXPECT_EQ(PlaceTag({1900, 200, 20, 90}, kTag, test::kFrame, {}), cv::Rect(1840, 180, 80, 20));
  EXPECT_EQ(PlaceTag({-30, 200, 100, 90}, kTag, test::kFrame, {}), cv::Rect(0, 180, 80, 20));
}

TEST(PlaceTag, MovesInsideAtTheLowerEdge) {
  EXPECT_EQ(PlaceTag({300, 1200, 100, 90}, kTag, test::kFrame, {}), cv::Rect(300, 1060, 80, 20));
}

TEST(PlaceTag, StepsDownPastOthers) {
  const std::vector<cv::Rect> taken{{310, 185, 80, 20}, {300, 210, 10, 10}};
  // 180 and 200 are taken; 220 touches neither.
  EXPECT_EQ(PlaceTag({300, 200, 100, 90}, kTag, test::kFrame, taken), cv::Rect(300, 220, 80, 20));
}

TEST(PlaceTag, CoversAnotherWhereThereIsNoRoom) {
  const std::vector<cv::Rect> taken{{0, 0, 1920, 1080}};
  EXPECT_EQ(PlaceTag({300, 200, 100, 90}, kTag, test::kFrame, taken), cv::Rect(300, 180, 80, 20));
}

}  // namespace
}  // namespace dirty_seg
