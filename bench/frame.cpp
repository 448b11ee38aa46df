#include "bench/frame.h"

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/scene.h"
#include "engine/network_reader.h"

namespace bench {

using namespace nuvik::perception::dirty_seg_detector;

const char* NetworkPath(int batch) { return batch == 1 ? BENCH_NETWORK_1 : BENCH_NETWORK_6; }

void InitDetector(DirtySegDetector& detector, int threads, int batch) {
  nuvik::alg::common::OpenDimensions open;
  open.batch = kSlots;
  nuvik::alg::common::Network network;
  std::string error;
  if (nuvik::alg::common::ReadNetwork(NetworkPath(batch), open, network, error) != 0) {
    throw std::runtime_error(error);
  }
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = network.config;
  config.dirty_seg_model_config.thread_count = threads;
  config.yaml_config_path = BENCH_FOLDER "/patches.yaml";
  std::ofstream(config.yaml_config_path) << ConfigurationFile(PatchGrid(kSlots));
  if (!detector.Init(config)) throw std::runtime_error("the detector does not initialise");
}

ImageMap MakeFrame() {
  auto frame = std::make_shared<cv::Mat>(1080, 1920, CV_8UC3);
  cv::RNG random(1);
  random.fill(*frame, cv::RNG::UNIFORM, 0, 256);
  return {{"color", frame}};
}

void RunFrame(DirtySegDetector& detector, const ImageMap& frame) {
  std::shared_ptr<DirtyStatusResultData> result;
  if (!detector.DoInference(frame, result)) throw std::runtime_error("a frame failed");
  if (result->bboxes.size() != kFrameObjects) {
    throw std::runtime_error("a frame gave " + std::to_string(result->bboxes.size()) +
                             " objects; expected " + std::to_string(kFrameObjects));
  }
}

}  // namespace bench
