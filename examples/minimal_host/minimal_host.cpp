// The smallest complete host: frames in, one line per detection out, the detector's log in the
// systemd journal.
//   minimal_host SEG.onnx CONFIG.yaml SOURCE [FECE.onnx CLASS...]
// SOURCE is a camera (/dev/video0), a picture or a video, of any size. Detections of the classes
// named are re-checked with the classifier FECE.onnx. Boxes are in the source's pixels.
#include <dirty_seg_detector/dirty_seg_detector.h>
#include <engine/network_reader.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <stdexcept>
#include <string>

namespace {

using namespace nuvik::perception::dirty_seg_detector;

// Of the configuration file, at most: each takes a slot of the network's batch.
constexpr std::int64_t kPatches = 6;

// Names, shapes and types come from the ONNX file. With a platform's own engine, which has no
// ReadNetwork, a host writes them down from the network's data sheet.
AIEngineConfig NetworkConfig(const char* model_path, std::int64_t slots) {
  nuvik::alg::common::OpenDimensions open;
  open.batch = slots;
  nuvik::alg::common::Network network;
  std::string error;
  if (ReadNetwork(model_path, open, network, error) != 0) {
    std::fprintf(stderr, "%s\n", error.c_str());
    std::exit(2);
  }
  return network.config;
}

int ClassId(const std::string& word) {
  int id = -1;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), id);
  if (error != std::errc() || end != word.data() + word.size() || id < 0) {
    throw std::invalid_argument("CLASS is '" + word + "'; expected a number from 0");
  }
  return id;
}

DirtySegDetectorConfig Configuration(int argc, char** argv) {
  DirtySegDetectorConfig config;
  config.dirty_seg_model_config = NetworkConfig(argv[1], kPatches);
  config.yaml_config_path = argv[2];
  config.fece_enable = argc > 4;
  if (config.fece_enable) {
    config.fece_model_config = NetworkConfig(argv[4], 1);
    config.fece_score_threshold = 0.5F;
    config.fece_area_threshold = 400.0F;
    for (int i = 5; i < argc; ++i) config.fece_class_ids.push_back(ClassId(argv[i]));
  }
  return config;
}

// One frame after another. A picture is a video of one frame.
class Source {
 public:
  explicit Source(const std::string& path) {
    is_camera_ = std::filesystem::is_character_file(path);
    if (!is_camera_) picture_ = cv::imread(path);
    if (!picture_.empty()) return;
    // Without V4L2 given, OpenCV would first try a camera as a file.
    if (!video_.open(path, is_camera_ ? cv::CAP_V4L2 : cv::CAP_ANY)) return;
    video_.set(cv::CAP_PROP_FRAME_WIDTH, 1920);
    video_.set(cv::CAP_PROP_FRAME_HEIGHT, 1080);
  }

  // A matrix of its own for each frame, since the detector's records share it. Empty at the end.
  std::shared_ptr<cv::Mat> Next() {
    auto frame = std::make_shared<cv::Mat>();
    if (video_.isOpened()) {
      video_.read(*frame);
    } else {
      cv::swap(*frame, picture_);
    }
    return frame;
  }

  bool is_camera() const { return is_camera_; }

 private:
  bool is_camera_ = false;
  cv::Mat picture_;
  cv::VideoCapture video_;
};

// Results are in a frame of 1920 x 1080, whatever comes in: one factor for both sides, grey to the
// right and below. A picture of that size is taken as it is.
std::shared_ptr<cv::Mat> FitToFrame(const std::shared_ptr<cv::Mat>& picture, double& factor) {
  factor = std::min(1920.0 / picture->cols, 1080.0 / picture->rows);
  if (picture->size() == cv::Size(1920, 1080)) return picture;
  auto frame = std::make_shared<cv::Mat>();
  cv::resize(
      *picture, *frame,
      {std::max(1, cvRound(picture->cols * factor)), std::max(1, cvRound(picture->rows * factor))});
  cv::copyMakeBorder(*frame, *frame, 0, 1080 - frame->rows, 0, 1920 - frame->cols,
                     cv::BORDER_CONSTANT, cv::Scalar::all(114));
  return frame;
}

void Tell(const DirtyStatusResultData& result, double factor) {
  for (std::size_t i = 0; i < result.labels.size(); ++i) {
    const std::vector<float>& box = result.bboxes[i];
    std::printf("label %d score %.2f box %.0f %.0f %.0f %.0f\n", result.labels[i], result.scores[i],
                box[0] / factor, box[1] / factor, box[2] / factor, box[3] / factor);
  }
  std::fflush(stdout);
}

int Run(int argc, char** argv) {
  DirtySegDetector detector;
  if (!detector.Init(Configuration(argc, argv))) return 2;
  Source source(argv[3]);
  int frames = 0;
  for (auto frame = source.Next(); !frame->empty(); frame = source.Next(), ++frames) {
    double factor = 1.0;
    std::shared_ptr<DirtyStatusResultData> result;
    if (!detector.DoInference({{"color", FitToFrame(frame, factor)}}, result)) return 1;
    Tell(*result, factor);
  }
  // A file ends; a camera that gives no more frames is out of order.
  if (frames > 0 && !source.is_camera()) return 0;
  std::fprintf(stderr, "'%s' gives no %sframe\n", argv[3], frames > 0 ? "more " : "");
  return 1;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 4 || argc == 5) {
    std::fprintf(stderr, "usage: minimal_host SEG.onnx CONFIG.yaml SOURCE [FECE.onnx CLASS...]\n");
    return 2;
  }
  // The detector's log goes only to the journal, unless the environment says otherwise.
  setenv("SPDLOG_STDOUT", "false", 0);
  setenv("SPDLOG_SYSTEMD", "true", 0);
  setenv("SPDLOG_LEVEL", "info", 0);
  return Run(argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 2;
}
