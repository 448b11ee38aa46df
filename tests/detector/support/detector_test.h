// What the suites of the detector share: a detector on the scripted engine with its log captured,
// configurations, images and buffers.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "scripted_engine.h"
#include "support/captured_log.h"

namespace nuvik::perception::dirty_seg_detector {

using model::Object;

/// Folder of the test's own, removed with it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string Path(const std::string& name) const;
  /// Writes a file and returns its path.
  std::string Write(const std::string& name, const std::string& text) const;

 private:
  std::filesystem::path folder_;
};

class DetectorTest : public ::testing::Test {
 protected:
  DetectorTest();

  /// One input "images" [batch, 3, side, side], one output "output0" [1, 2, 3].
  static AIEngineConfig SegmentationNetwork(std::int64_t batch, std::int64_t side);
  /// Input "input" [1, 3, 224, 224], output "output" [1, 2].
  static AIEngineConfig FeceNetwork();
  /// Both networks, the classifier off, and a YAML file of that text.
  DirtySegDetectorConfig Config(const std::string& yaml) const;

  TemporaryFolder folder;
  CapturedLog log;
  DirtySegDetector detector;
};

/// A buffer with that many bytes of storage, every one `fill`.
AIBuff Buffer(std::size_t bytes, std::uint8_t fill = 0);

/// The storage of a buffer, taken as floats.
std::vector<float> FloatsOf(const AIBuff& buffer);

/// An image of one colour, bytes in B, G, R order.
std::shared_ptr<cv::Mat> ColorImage(int rows, int cols, const cv::Vec3b& bgr = {0, 0, 0});

/// An image map with only "color".
ImageMap ColorOnly(const std::shared_ptr<cv::Mat>& image);

/// Whether both have the same size, type and bytes.
::testing::AssertionResult SameImage(const cv::Mat& actual, const cv::Mat& expected);

}  // namespace nuvik::perception::dirty_seg_detector
