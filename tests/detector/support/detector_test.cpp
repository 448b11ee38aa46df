#include "support/detector_test.h"

#include <stdlib.h>

#include <cstring>
#include <fstream>
#include <stdexcept>

namespace nuvik::perception::dirty_seg_detector {

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "detector_test_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no folder could be made from " + pattern);
  }
  folder_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string TemporaryFolder::Path(const std::string& name) const {
  return (folder_ / name).string();
}

std::string TemporaryFolder::Write(const std::string& name, const std::string& text) const {
  std::ofstream(Path(name)) << text;
  return Path(name);
}

DetectorTest::DetectorTest() { scripted_engine::Reset(); }

AIEngineConfig DetectorTest::SegmentationNetwork(std::int64_t batch, std::int64_t side) {
  AIEngineConfig config;
  config.model_path = "segmentation.model";
  config.input_sizes = {{"images", static_cast<std::int32_t>(batch * 3 * side * side * 4)}};
  config.input_shapes = {{"images", {batch, 3, side, side}}};
  config.input_types = {{"images", alg::common::kAIFloat32}};
  config.output_sizes = {{"output0", 24}};
  config.output_shapes = {{"output0", {1, 2, 3}}};
  config.output_types = {{"output0", alg::common::kAIFloat32}};
  return config;
}

AIEngineConfig DetectorTest::FeceNetwork() {
  AIEngineConfig config;
  config.model_path = "fece.model";
  config.input_sizes = {{"input", 602112}};
  config.input_shapes = {{"input", {1, 3, 224, 224}}};
  config.input_types = {{"input", alg::common::kAIFloat32}};
  config.output_sizes = {{"output", 8}};
  config.output_shapes = {{"output", {1, 2}}};
  config.output_types = {{"output", alg::common::kAIFloat32}};
  return config;
}

DirtySegDetectorConfig DetectorTest::Config(const std::string& yaml) const {
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = SegmentationNetwork(2, 8);
  config.yaml_config_path = folder.Write("detector.yaml", yaml);
  config.fece_model_config = FeceNetwork();
  return config;
}

AIBuff Buffer(std::size_t bytes, std::uint8_t fill) {
  AIBuff buffer;
  buffer.data->assign(bytes, fill);
  return buffer;
}

std::vector<float> FloatsOf(const AIBuff& buffer) {
  std::vector<float> floats(buffer.data->size() / sizeof(float));
  std::memcpy(floats.data(), buffer.data->data(), floats.size() * sizeof(float));
  return floats;
}

std::shared_ptr<cv::Mat> ColorImage(int rows, int cols, const cv::Vec3b& bgr) {
  return std::make_shared<cv::Mat>(rows, cols, CV_8UC3, cv::Scalar(bgr[0], bgr[1], bgr[2]));
}

ImageMap ColorOnly(const std::shared_ptr<cv::Mat>& image) { return {{"color", image}}; }

::testing::AssertionResult SameImage(const cv::Mat& actual, const cv::Mat& expected) {
  if (actual.size() != expected.size() || actual.type() != expected.type()) {
    return ::testing::AssertionFailure()
           << actual.size() << " of type " << actual.type() << " instead of " << expected.size()
           << " of type " << expected.type();
  }
  for (int y = 0; y < actual.rows; ++y) {
    const std::size_t bytes = static_cast<std::size_t>(actual.cols) * actual.elemSize();
    if (std::memcmp(actual.ptr(y), expected.ptr(y), bytes) != 0) {
      return ::testing::AssertionFailure()
             << "row " << y << " is " << actual.row(y) << " instead of " << expected.row(y);
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace nuvik::perception::dirty_seg_detector
