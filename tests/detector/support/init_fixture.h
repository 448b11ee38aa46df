// What the tests of Init share.
#pragma once

#include <string>
#include <vector>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {

using Names = std::vector<std::string>;
using Sizes = std::vector<cv::Size>;
using Rects = std::vector<cv::Rect>;

inline const Line kSegmentationReady = Info("Init", "Initing dirty seg detector model succeed");
inline const Line kSegmentationFailed = Info("Init", "Initing dirty seg detector model failed");
inline const Line kFeceReady = Info("Init", "Initing fece detector model succeed");
inline const Line kFeceFailed = Info("Init", "Initing fece detector model failed");
inline const Line kModelPath = Debug("Init", "Dirty Seg Detector model path : segmentation.model");

inline constexpr const char* kTwoPatches =
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

  static Sizes SizesGiven() {
    return scripted_engine::CallsOf(scripted_engine::kMakePostprocess).back().patch_sizes;
  }

  // The output buffer of a network whose one output has that shape and type.
  AIBuff OutputBuffer(const std::vector<std::int64_t>& shape, std::uint32_t type) {
    DirtySegDetectorConfig config = Config("{}");
    config.dirty_seg_model_config.output_shapes["output0"] = shape;
    config.dirty_seg_model_config.output_types["output0"] = type;
    EXPECT_TRUE(detector.Init(config));
    return detector.dirty_seg_outputs_.at("output0");
  }
};

}  // namespace nuvik::perception::dirty_seg_detector
