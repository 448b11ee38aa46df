// The smallest host: one picture in, one line per detection out.
//   host SEGMENTATION.onnx CONFIGURATION.yaml PICTURE
#include <dirty_seg_detector/dirty_seg_detector.h>
#include <engine/network_reader.h>

#include <algorithm>
#include <cstdio>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

using namespace nuvik::perception::dirty_seg_detector;

// Results are in a frame of 1920 x 1080: one factor for both sides, grey to the right and below.
std::shared_ptr<cv::Mat> FitToFrame(const cv::Mat& picture, double& factor) {
  auto frame = std::make_shared<cv::Mat>();
  factor = std::min(1920.0 / picture.cols, 1080.0 / picture.rows);
  cv::resize(
      picture, *frame,
      {std::max(1, cvRound(picture.cols * factor)), std::max(1, cvRound(picture.rows * factor))});
  cv::copyMakeBorder(*frame, *frame, 0, 1080 - frame->rows, 0, 1920 - frame->cols,
                     cv::BORDER_CONSTANT, cv::Scalar::all(114));
  return frame;
}

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  // As many slots as the configuration has patches; names, shapes and lengths come from the file.
  nuvik::alg::common::OpenDimensions open;
  open.batch = 6;
  nuvik::alg::common::Network network;
  std::string error;
  if (ReadNetwork(argv[1], open, network, error) != 0) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 2;
  }
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = network.config;
  config.yaml_config_path = argv[2];
  DirtySegDetector detector;
  if (!detector.Init(config)) return 2;
  const cv::Mat picture = cv::imread(argv[3]);
  if (picture.empty()) return 1;
  double factor = 1.0;
  std::shared_ptr<DirtyStatusResultData> result;
  if (!detector.DoInference({{"color", FitToFrame(picture, factor)}}, result)) return 1;
  for (std::size_t i = 0; i < result->labels.size(); ++i) {
    const std::vector<float>& box = result->bboxes[i];
    std::printf("label %d score %.2f box %.0f %.0f %.0f %.0f\n", result->labels[i],
                result->scores[i], box[0] / factor, box[1] / factor, box[2] / factor,
                box[3] / factor);
  }
}
