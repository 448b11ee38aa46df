// Pictures that are not 1920 x 1080: the detector clips a patch by the picture, the decoder by the
// frame. The floor's spill, at 760, 112 to 1200, 328 of its frame, shows where that puts a box.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <vector>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "engine/network_reader.h"
#include "support/memory_file.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

using testing::ElementsAre;
using testing::FloatNear;
using testing::IsEmpty;

// The network gives boxes in steps of 4 of its pixels, here 8 of the frame's.
constexpr float kStep = 8.0F;

testing::Matcher<std::vector<float>> Box(float x1, float y1, float x2, float y2) {
  return ElementsAre(FloatNear(x1, kStep), FloatNear(y1, kStep), FloatNear(x2, kStep),
                     FloatNear(y2, kStep));
}

class PictureSize : public testing::Test {
 protected:
  void SetUp() override {
    setenv("SPDLOG_STDOUT", "false", 1);
    floor_ = cv::imread(FLOOR_FOLDER "/floor.jpg");
    ASSERT_EQ(floor_.size(), cv::Size(1920, 1080));
  }

  // The left top part of the floor.
  cv::Mat Part(int width, int height) const { return floor_(cv::Rect(0, 0, width, height)); }

  // A picture of that size with the floor at its left top corner, grey around.
  cv::Mat OnGrey(const cv::Mat& picture, int width, int height) const {
    cv::Mat larger(height, width, CV_8UC3, cv::Scalar::all(114));
    picture.copyTo(larger(cv::Rect({0, 0}, picture.size())));
    return larger;
  }

  // Boxes of the spills that are found with certainty.
  std::vector<std::vector<float>> Spills(const cv::Mat& picture, const std::string& patches) const {
    const nuvik::test::MemoryFile file("patch: {enable: true, patches: [" + patches + "]}\n");
    alg::common::Network network;
    std::string error;
    EXPECT_EQ(alg::common::ReadNetwork(FLOOR_FOLDER "/dirt-seg.onnx", {}, network, error), 0)
        << error;
    network.config.thread_count = 1;
    DirtySegDetectorConfig config;
    config.dirty_seg_model_config = network.config;
    config.yaml_config_path = file.path();
    DirtySegDetector detector;
    EXPECT_TRUE(detector.Init(config));
    std::shared_ptr<DirtyStatusResultData> result;
    EXPECT_TRUE(detector.DoInference({{"color", std::make_shared<cv::Mat>(picture)}}, result));
    std::vector<std::vector<float>> spills;
    for (std::size_t i = 0; result != nullptr && i < result->labels.size(); ++i) {
      if (result->labels[i] == 0 && result->scores[i] > 0.5F) spills.push_back(result->bboxes[i]);
    }
    return spills;
  }

  cv::Mat floor_;
};

TEST_F(PictureSize, PatchInsideASmallerPictureIsRight) {
  EXPECT_THAT(Spills(Part(1280, 720), "[640, 0, 640, 640]"), ElementsAre(Box(760, 112, 1200, 328)));
}

// The picture leaves 380 x 620 of the patch, which the detector scales by 320 / 620 and pads by 62
// on both sides: the spill, cut off at column 900, comes to network columns 62 to 217. The decoder
// takes them for halves of a patch that is whole.
TEST_F(PictureSize, PatchOverASmallerPicturesEdgeIsShiftedAndScaled) {
  EXPECT_THAT(Spills(Part(1280, 720), "[900, 100, 640, 640]"),
              ElementsAre(Box(900 + 124, 112, 900 + 434, 332)));
}

TEST_F(PictureSize, SmallerPicturePaddedToTheFrameIsRight) {
  EXPECT_THAT(Spills(OnGrey(Part(1280, 720), 1920, 1080), "[900, 100, 640, 640]"),
              ElementsAre(Box(900, 112, 1200, 328)));
}

// The first patch takes no slot, so that the second one's list is placed with the first.
TEST_F(PictureSize, ListsBehindAPatchOutsideThePictureArePlacedWithTheWrongOne) {
  const std::string patches = "[1280, 0, 640, 640], [640, 0, 640, 640]";

  EXPECT_THAT(Spills(Part(1280, 720), patches), ElementsAre(Box(1400, 112, 1840, 328)));
  EXPECT_THAT(Spills(OnGrey(Part(1280, 720), 1920, 1080), patches),
              ElementsAre(Box(760, 112, 1200, 328)));
}

TEST_F(PictureSize, PatchInsideTheFrameOfALargerPictureIsRight) {
  EXPECT_THAT(Spills(OnGrey(floor_, 2560, 1440), "[640, 0, 640, 640]"),
              ElementsAre(Box(760, 112, 1200, 328)));
}

TEST_F(PictureSize, WhatLiesBeyondTheFrameIsNotSearched) {
  cv::Mat moved(1440, 2560, CV_8UC3, cv::Scalar::all(114));
  floor_(cv::Rect(640, 0, 640, 640)).copyTo(moved(cv::Rect(1920, 0, 640, 640)));

  EXPECT_THAT(Spills(moved, "[0, 0, 640, 640], [640, 0, 640, 640], [1280, 0, 640, 640]"),
              IsEmpty());
}

// Of the patch 640 x 640 are cut and halved, while the decoder takes them for 320 x 440 of the
// frame, scaled by 320 / 440 and padded by 43 on both sides: columns 400 to 840 of the patch, of
// which 240 are inside, are network columns 200 to 320, and so columns 215 to 320 of what the
// decoder knows.
TEST_F(PictureSize, PatchOverTheFramesEdgeInALargerPictureIsShiftedAndScaled) {
  cv::Mat moved(1440, 2560, CV_8UC3, cv::Scalar::all(114));
  floor_(cv::Rect(640, 0, 640, 640)).copyTo(moved(cv::Rect(1720, 640, 640, 640)));
  // The spill is at 1840, 752 to 2280, 968; of the patch, 240 to 640 and 112 to 328.
  EXPECT_THAT(Spills(moved, "[1600, 640, 640, 640]"),
              ElementsAre(Box(1600 + 105, 640 + 77, 1600 + 320, 640 + 225.5F)));
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
