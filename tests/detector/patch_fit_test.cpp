// What the host program says of a patch's size, checked against the crops that the detector makes.
#include "config/patch_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

const cv::Size kFrame(1920, 1080);

class PatchFit : public testing::TestWithParam<int> {
 protected:
  CapturedLog log_;  // kept off standard output
};

// The crop of a patch of that size, as it is written into the network's slot.
cv::Size CropSize(DirtySegDetector& detector, const ImageMap& images, AIBuff& input,
                  const cv::Size& patch, int side) {
  detector.patches_ = {cv::Rect(cv::Point(0, 0), patch)};
  detector.PreProcessFromSingleImageCrop(images, input, {side, side});
  return detector.crop_images_.at("crop_0").size();
}

TEST_P(PatchFit, IsThatOfTheCrop) {
  const int side = GetParam();
  DirtySegDetector detector;
  AIBuff input;
  const auto room = static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
  input.data->resize(3 * sizeof(float) * room);
  const ImageMap images{{"color", std::make_shared<cv::Mat>(kFrame, CV_8UC3)}};
  int short_ones = 0;
  for (int width = 1; width <= kFrame.width; ++width) {
    for (const int height : {std::min(width, kFrame.height), 1 + width / 2, 1080}) {
      const cv::Size patch(width, height);
      const dirty_seg::PatchFit fit = dirty_seg::FitPatch(patch, side);
      if (fit.scaled.empty()) continue;  // the detector's cv::resize throws
      const cv::Size crop = CropSize(detector, images, input, patch, side);
      ASSERT_EQ(fit.square, crop) << width << " x " << height;
      ASSERT_EQ(fit.is_whole, crop == cv::Size(side, side)) << width << " x " << height;
      short_ones += fit.is_whole ? 0 : 1;
    }
  }
  EXPECT_GT(short_ones, 100);
}

INSTANTIATE_TEST_SUITE_P(Sides, PatchFit, testing::Values(64, 96, 320));

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
