// What a host may call: compiled, unlike the other tests, without a way to private members.
#include <gtest/gtest.h>

#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using nuvik::perception::dirty_seg_detector::DirtySegDetector;

TEST(DirtySegDetectorInterface, EveryOperationIsPublic) {
  EXPECT_NE(&DirtySegDetector::Init, nullptr);
  EXPECT_NE(&DirtySegDetector::DoInference, nullptr);
  EXPECT_NE(&DirtySegDetector::PreProcess, nullptr);
  EXPECT_NE(&DirtySegDetector::PopulateData, nullptr);
  EXPECT_NE(&DirtySegDetector::PreProcessFromSingleImageCrop, nullptr);
  EXPECT_NE(&DirtySegDetector::PostProcess, nullptr);
  EXPECT_NE(&DirtySegDetector::ConvertToDirtyStatusResult, nullptr);
  EXPECT_NE(&DirtySegDetector::judge_fece, nullptr);
  EXPECT_NE(&DirtySegDetector::PreProcessFece, nullptr);
  EXPECT_NE(&DirtySegDetector::MakeSquare, nullptr);
}

}  // namespace
