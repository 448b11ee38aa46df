// Conversion of object lists, against the bare OpenCV calls that its result demands.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <set>

#include "bench/quiet.h"
#include "bench/scene.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using namespace bench;
using namespace nuvik::perception::dirty_seg_detector;

const std::vector<cv::Rect> kPatches{{0, 0, 640, 640},     {640, 0, 640, 640},
                                     {1280, 0, 640, 640},  {0, 440, 640, 640},
                                     {640, 440, 640, 640}, {1280, 440, 640, 640}};

std::shared_ptr<DirtySegDetectorResData> MakeRecord(int objects) {
  auto record = std::make_shared<DirtySegDetectorResData>();
  std::map<std::string, AIBuff> outputs = MakeScene(objects);
  Yolov8Postprocess(SceneRoot(), SceneConfig(), SceneSizes())
      .PostProcess(outputs, record->patch_objects);
  return record;
}

void ConvertOurs(benchmark::State& state, int objects) {
  const std::shared_ptr<DirtySegDetectorResData> record = MakeRecord(objects);
  DirtySegDetector detector;
  detector.config_ = std::make_shared<DirtySegDetectorConfig>();
  detector.patches_ = kPatches;
  for (auto _ : state) {
    benchmark::DoNotOptimize(detector.ConvertToDirtyStatusResult({}, record));
  }
}

void OrAndCount(benchmark::State& state, int objects) {
  const std::shared_ptr<DirtySegDetectorResData> record = MakeRecord(objects);
  for (auto _ : state) {
    std::map<int, cv::Mat> canvases;
    int pixels = 0;
    for (std::size_t p = 0; p < kPatches.size(); ++p) {
      for (const auto& object : record->patch_objects[p]) {
        cv::Mat& canvas = canvases[object.label];
        if (canvas.empty()) canvas = cv::Mat::zeros(1080, 1920, CV_8UC1);
        cv::Mat target = canvas(kPatches[p]);
        cv::bitwise_or(target, object.mask, target);
        pixels += cv::countNonZero(object.mask);
      }
    }
    benchmark::DoNotOptimize(pixels);
  }
}

void Register() {
  for (const int objects : {0, 10, 50, 300}) {
    const std::string name = "Convert_" + std::to_string(objects);
    benchmark::RegisterBenchmark((name + "/ours").c_str(), ConvertOurs, objects);
    benchmark::RegisterBenchmark((name + "/or_and_count").c_str(), OrAndCount, objects);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
