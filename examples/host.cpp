// The smallest host: one picture in, one line a detection out.
//   host SEGMENTATION.onnx CONFIGURATION.yaml PICTURE
#include <dirty_seg_detector/dirty_seg_detector.h>
#include <engine/network_reader.h>

#include <cstdio>
#include <opencv2/imgcodecs.hpp>

int main(int argc, char** argv) {
  using namespace nuvik::perception::dirty_seg_detector;
  nuvik::alg::common::Network network;  // names, shapes and lengths come from the file
  if (argc != 4 || ReadNetwork(argv[1], {}, network) != 0) return 2;
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = network.config;
  config.yaml_config_path = argv[2];
  DirtySegDetector detector;
  if (!detector.Init(config)) return 2;
  const ImageMap images{{"color", std::make_shared<cv::Mat>(cv::imread(argv[3]))}};
  std::shared_ptr<DirtyStatusResultData> result;
  if (!detector.DoInference(images, result)) return 1;
  for (std::size_t i = 0; i < result->labels.size(); ++i) {
    const std::vector<float>& box = result->bboxes[i];
    std::printf("label %d score %.2f box %.0f %.0f %.0f %.0f\n", result->labels[i],
                result->scores[i], box[0], box[1], box[2], box[3]);
  }
}
