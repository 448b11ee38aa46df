// Conversion of object lists, against the bare OpenCV calls that its result demands.
#include <benchmark/benchmark.h>

#include <cmath>
#include <map>
#include <opencv2/core.hpp>
#include <stdexcept>

#include "bench/quiet.h"
#include "bench/scene.h"
#include "dirty_seg_detector/dirty_seg_detector.h"
#include "geometry/letterbox.h"

namespace {

using namespace bench;
using namespace nuvik::perception::dirty_seg_detector;
using Canvases = std::map<int, cv::Mat>;

std::shared_ptr<DirtySegDetectorResData> MakeRecord(int objects) {
  auto record = std::make_shared<DirtySegDetectorResData>();
  MakeDecoder(kSlots)->PostProcess(Scene(kSlots, objects), record->patch_objects);
  return record;
}

DirtySegDetector MakeDetector() {
  DirtySegDetector detector;
  detector.config_ = std::make_shared<DirtySegDetectorConfig>();
  detector.patches_ = PatchGrid(kSlots);
  return detector;
}

// Returns the number of mask pixels.
int OrAndCount(const DirtySegDetectorResData& record, const std::vector<cv::Rect>& patches,
               Canvases& canvases) {
  int pixels = 0;
  for (std::size_t p = 0; p < patches.size(); ++p) {
    for (const nuvik::model::Object& object : record.patch_objects[p]) {
      cv::Mat& canvas = canvases[object.label];
      if (canvas.empty()) {
        canvas = cv::Mat::zeros(nuvik::geometry::FrameSize(), CV_8UC1);
      }
      cv::Mat target = canvas(patches[p]);
      cv::bitwise_or(target, object.mask, target);
      pixels += cv::countNonZero(object.mask);
    }
  }
  return pixels;
}

void RequireEqual(const DirtyStatusResultData& ours, const Canvases& canvases, int pixels) {
  float counted = 0;  // exact: under 2^24 a mask, and a sum of few
  for (const float count : ours.mask_pixel_counts) counted += count;
  if (std::abs(counted - static_cast<float>(pixels)) > 1e-5F * counted) {
    throw std::runtime_error("both sides counted different numbers of pixels");
  }
  if (ours.label_masks.size() != canvases.size()) {
    throw std::runtime_error("both sides made different numbers of canvases");
  }
  for (const auto& [label, canvas] : canvases) {
    if (cv::countNonZero(ours.label_masks.at(label) != canvas) != 0) {
      throw std::runtime_error("both sides drew different canvases");
    }
  }
}

void ConvertOurs(benchmark::State& state, int objects) {
  const std::shared_ptr<DirtySegDetectorResData> record = MakeRecord(objects);
  DirtySegDetector detector = MakeDetector();
  Canvases canvases;
  const int pixels = OrAndCount(*record, detector.patches_, canvases);
  RequireEqual(*detector.ConvertToDirtyStatusResult({}, record), canvases, pixels);
  for (auto _ : state) {
    benchmark::DoNotOptimize(detector.ConvertToDirtyStatusResult({}, record));
  }
}

void ConvertBare(benchmark::State& state, int objects) {
  const std::shared_ptr<DirtySegDetectorResData> record = MakeRecord(objects);
  const std::vector<cv::Rect> patches = PatchGrid(kSlots);
  for (auto _ : state) {
    Canvases canvases;
    benchmark::DoNotOptimize(OrAndCount(*record, patches, canvases));
  }
}

void Register() {
  for (const int objects : {0, 10, 50, 300}) {
    const std::string name = "Convert_" + std::to_string(objects);
    benchmark::RegisterBenchmark((name + "/ours").c_str(), ConvertOurs, objects);
    benchmark::RegisterBenchmark((name + "/or_and_count").c_str(), ConvertBare, objects);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
