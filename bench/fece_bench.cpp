// One crop into the classifier's tensor, against the same made of OpenCV calls and against the
// resize that both need.
#include <benchmark/benchmark.h>

#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/pixels.h"
#include "bench/quiet.h"
#include "bench/scene.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using namespace bench;
using namespace nuvik::perception::dirty_seg_detector;

constexpr std::size_t kFeceFloats = std::size_t{3} * kFeceSide * kFeceSide;

// The usual calls, with memory kept between crops.
class FeceByOpenCv {
 public:
  explicit FeceByOpenCv(float* tensor) {
    for (std::size_t plane = 0; plane < 3; ++plane) {
      planes_.emplace_back(kFeceSide, kFeceSide, CV_32FC1, tensor + plane * kFeceFloats / 3);
    }
  }

  void Write(const cv::Mat& crop) {
    cv::resize(crop, resized_, cv::Size(kFeceSide, kFeceSide), 0, 0, cv::INTER_LINEAR);
    cv::cvtColor(resized_, rgb_, cv::COLOR_BGR2RGB);
    rgb_.convertTo(floats_, CV_32F, 1.0 / 255.0);
    cv::subtract(floats_, cv::Scalar(0.485, 0.456, 0.406), floats_);
    cv::divide(floats_, cv::Scalar(0.229, 0.224, 0.225), floats_);
    cv::split(floats_, planes_);
  }

 private:
  std::vector<cv::Mat> planes_;
  cv::Mat resized_;
  cv::Mat rgb_;
  cv::Mat floats_;
};

void FeceOurs(benchmark::State& state, const cv::Size& size) {
  const cv::Mat crop = Noise(size);
  AIBuff tensor = Tensor(kFeceFloats);
  DirtySegDetector detector;
  detector.PreProcessFece(crop, tensor);
  std::vector<float> other(kFeceFloats);
  FeceByOpenCv(other.data()).Write(crop);
  RequireEqual(reinterpret_cast<const float*>(tensor.data->data()), other.data(), kFeceFloats,
               1e-5F);
  for (auto _ : state) benchmark::DoNotOptimize(detector.PreProcessFece(crop, tensor));
}

void FeceUsual(benchmark::State& state, const cv::Size& size) {
  const cv::Mat crop = Noise(size);
  std::vector<float> tensor(kFeceFloats);
  FeceByOpenCv usual(tensor.data());
  for (auto _ : state) {
    usual.Write(crop);
    benchmark::ClobberMemory();
  }
}

void FeceResizeOnly(benchmark::State& state, const cv::Size& size) {
  const cv::Mat crop = Noise(size);
  for (auto _ : state) {
    cv::Mat resized;
    cv::resize(crop, resized, cv::Size(kFeceSide, kFeceSide), 0, 0, cv::INTER_LINEAR);
    benchmark::DoNotOptimize(resized.data);
  }
}

void Register() {
  using benchmark::RegisterBenchmark;
  for (const cv::Size& size : {cv::Size(30, 40), cv::Size(224, 224), cv::Size(600, 800)}) {
    const std::string name = Sized("PreProcessFece", size);
    RegisterBenchmark((name + "/ours").c_str(), FeceOurs, size);
    RegisterBenchmark((name + "/opencv").c_str(), FeceUsual, size);
    RegisterBenchmark((name + "/resize_only").c_str(), FeceResizeOnly, size);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
