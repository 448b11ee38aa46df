// The configuration file through the detector's Init and the bundled post-processor: refused with a
// documented exception, or accepted whole. The host's reader, stricter, must see the same patches.
#include <yaml-cpp/yaml.h>

#include <stdexcept>

#include "base/errors.h"
#include "config/patches.h"
#include "dirty_seg_detector/dirty_seg_detector.h"
#include "input.h"
#include "quiet_log.h"
#include "support/memory_file.h"

namespace {

using fuzz::Require;
using nuvik::alg::common::AIEngineConfig;
using nuvik::perception::dirty_seg_detector::DirtySegDetector;
using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;
using nuvik::perception::dirty_seg_detector::DirtySegDetectorResData;

constexpr int kBatch = 4;

// A batch of four at 32 x 32, one class, one prototype.
AIEngineConfig Network() {
  AIEngineConfig config;
  config.input_sizes = {{"images", kBatch * 3 * 32 * 32 * 4}};
  config.input_shapes = {{"images", {kBatch, 3, 32, 32}}};
  config.output_sizes = {{"output0", 0}, {"output1", 0}};
  config.output_shapes = {{"output0", {kBatch, 6, 21}}, {"output1", {kBatch, 1, 8, 8}}};
  config.output_types = {{"output0", 2}, {"output1", 2}};
  return config;
}

// Whether the detector accepts the file.
bool Initialise(DirtySegDetector& detector, const DirtySegDetectorConfig& config) {
  try {
    Require(detector.Init(config), "Init fails only by an exception");
    return true;
  } catch (const YAML::Exception&) {
    Require(detector.yolov8_postprocess_ == nullptr, "a refused file leaves no post-processor");
  } catch (const std::invalid_argument&) {
    Require(detector.yolov8_postprocess_ == nullptr, "refused keys leave no post-processor");
  }
  return false;
}

void Use(DirtySegDetector& detector, const DirtySegDetectorConfig& config) {
  auto record = std::make_shared<DirtySegDetectorResData>();
  detector.PostProcess({}, detector.dirty_seg_outputs_, record);
  Require(record->patch_objects.size() <= kBatch, "there are no more lists than batch slots");
  const std::vector<cv::Rect> patches = detector.patches_;
  Require(detector.Init(config), "a file is accepted twice");
  Require(detector.patches_.size() == 2 * patches.size(), "a second Init appends the patches");
  detector.patches_.resize(patches.size());
  Require(detector.patches_ == patches, "a second Init keeps the patches before");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool is_silent = fuzz::SilenceLog();
  Require(is_silent, "the log is silent");
  const nuvik::test::MemoryFile file(data, size);
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = Network();
  config.yaml_config_path = file.path();
  DirtySegDetector detector;
  const bool is_accepted = Initialise(detector, config);
  try {
    std::vector<dirty_seg::FileProblem> findings;
    std::vector<cv::Rect> patches;
    for (const auto& patch : dirty_seg::ReadPatchList(dirty_seg::LoadYaml(file.path()), findings)) {
      patches.push_back(patch.rectangle);
    }
    Require(!findings.empty() || detector.patches_ == patches,
            "host and detector read the same patches");
  } catch (const dirty_seg::SetupError&) {
  }
  if (is_accepted) Use(detector, config);
  return 0;
}
