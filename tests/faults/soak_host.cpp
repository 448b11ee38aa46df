// A host in a module of its own, so that the libraries come and go with it: a detector on a real
// network, set up from `folder`, and frames that it has to find something in.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "engine/network_reader.h"
#include "support/memory_file.h"

namespace {

using nuvik::alg::common::Network;
using nuvik::perception::dirty_seg_detector::DirtySegDetector;
using nuvik::perception::dirty_seg_detector::DirtySegDetectorConfig;
using nuvik::perception::dirty_seg_detector::DirtyStatusResultData;
using nuvik::perception::dirty_seg_detector::ImageMap;

constexpr const char* kPatches =
    "patch: {enable: true, patches: [[0, 0, 640, 640], [640, 440, 640, 640]]}";

}  // namespace

/// Runs `frames` frames on the network at `model` with that many threads and calls `after_frame`
/// behind each. Returns the number of frames in which both patches' objects were found.
extern "C" __attribute__((visibility("default"))) int RunFrames(const char* model, int threads,
                                                                int frames, void (*after_frame)()) {
  const nuvik::test::MemoryFile yaml{std::string(kPatches)};
  Network network;
  std::string error;
  if (ReadNetwork(model, {2, 64, 64}, network, error) != 0) return 0;
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = network.config;
  config.dirty_seg_model_config.thread_count = threads;
  config.yaml_config_path = yaml.path();
  DirtySegDetector detector;
  if (!detector.Init(config)) return 0;
  const ImageMap images{
      {"color", std::make_shared<cv::Mat>(1080, 1920, CV_8UC3, cv::Scalar(250, 20, 200))}};
  int found = 0;
  for (int i = 0; i < frames; ++i) {
    std::shared_ptr<DirtyStatusResultData> result;
    if (detector.DoInference(images, result) && result->labels.size() == 2) ++found;
    if (after_frame != nullptr) after_frame();
  }
  return found;
}
