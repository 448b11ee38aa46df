// From pixels to tensors, against OpenCV's own calls and against the copy of the tensor's bytes,
// which no way of writing it can beat.
#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "bench/quiet.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using namespace nuvik::perception::dirty_seg_detector;

constexpr int kSide = 640;
constexpr int kFeceSide = 224;

cv::Mat Noise(int rows, int cols) {
  cv::Mat image(rows, cols, CV_8UC3);
  cv::RNG random(1);
  random.fill(image, cv::RNG::UNIFORM, 0, 256);
  return image;
}

AIBuff Tensor(std::size_t floats) {
  AIBuff buffer;
  buffer.data->resize(floats * sizeof(float));
  return buffer;
}

void Copy(benchmark::State& state, std::size_t floats) {
  const std::vector<float> source(floats, 1.0F);
  std::vector<float> target(floats);
  for (auto _ : state) {
    std::memcpy(target.data(), source.data(), floats * sizeof(float));
    benchmark::ClobberMemory();
  }
}

// --- one picture ---------------------------------------------------------------------------------

void PopulateOurs(benchmark::State& state) {
  const cv::Mat image = Noise(kSide, kSide);
  std::vector<float> tensor(std::size_t{3} * kSide * kSide);
  DirtySegDetector detector;
  for (auto _ : state) benchmark::DoNotOptimize(detector.PopulateData(image, tensor.data()));
}

void PopulateBlob(benchmark::State& state) {
  const cv::Mat image = Noise(kSide, kSide);
  for (auto _ : state) {
    const cv::Mat blob =
        cv::dnn::blobFromImage(image, 1.0 / 255.0, image.size(), cv::Scalar(), true);
    benchmark::DoNotOptimize(blob.data);
  }
}

// --- six patches of a frame ----------------------------------------------------------------------

std::vector<cv::Rect> SixPatches(const cv::Size& size) {
  const int right = 1920 - size.width;
  const int low = 1080 - size.height;
  std::vector<cv::Rect> patches;
  for (const int y : {0, low}) {
    for (const int x : {0, right / 2, right}) patches.emplace_back(cv::Point(x, y), size);
  }
  return patches;
}

void PatchesOurs(benchmark::State& state, const cv::Size& size) {
  const ImageMap images{{"color", std::make_shared<cv::Mat>(Noise(1080, 1920))}};
  DirtySegDetector detector;
  detector.patches_ = SixPatches(size);
  AIBuff tensor = Tensor(std::size_t{6} * 3 * kSide * kSide);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        detector.PreProcessFromSingleImageCrop(images, tensor, cv::Size(kSide, kSide)));
  }
}

void PatchesOpenCv(benchmark::State& state, const cv::Size& size) {
  const cv::Mat frame = Noise(1080, 1920);
  const std::vector<cv::Rect> patches = SixPatches(size);
  for (auto _ : state) {
    std::vector<cv::Mat> squares;
    for (const cv::Rect& patch : patches) {
      const double scale = static_cast<double>(kSide) / std::max(patch.width, patch.height);
      cv::Mat scaled;
      cv::resize(frame(patch), scaled, cv::Size(), scale, scale, cv::INTER_NEAREST);
      const int vertical = (kSide - scaled.rows) / 2;
      const int horizontal = (kSide - scaled.cols) / 2;
      cv::Mat square;
      cv::copyMakeBorder(scaled, square, vertical, kSide - scaled.rows - vertical, horizontal,
                         kSide - scaled.cols - horizontal, cv::BORDER_CONSTANT,
                         cv::Scalar(114, 114, 114));
      squares.push_back(square);
    }
    const cv::Mat blob =
        cv::dnn::blobFromImages(squares, 1.0 / 255.0, cv::Size(kSide, kSide), cv::Scalar(), true);
    benchmark::DoNotOptimize(blob.data);
  }
}

// --- one crop for the classifier -----------------------------------------------------------------

void FeceOurs(benchmark::State& state, const cv::Size& size) {
  const cv::Mat crop = Noise(size.height, size.width);
  AIBuff tensor = Tensor(std::size_t{3} * kFeceSide * kFeceSide);
  DirtySegDetector detector;
  for (auto _ : state) benchmark::DoNotOptimize(detector.PreProcessFece(crop, tensor));
}

void FeceOpenCv(benchmark::State& state, const cv::Size& size) {
  const cv::Mat crop = Noise(size.height, size.width);
  std::vector<float> tensor(std::size_t{3} * kFeceSide * kFeceSide);
  std::vector<cv::Mat> planes;
  for (int plane = 0; plane < 3; ++plane) {
    planes.emplace_back(kFeceSide, kFeceSide, CV_32FC1,
                        tensor.data() + std::size_t{1} * plane * kFeceSide * kFeceSide);
  }
  cv::Mat resized;
  cv::Mat rgb;
  cv::Mat floats;
  for (auto _ : state) {
    cv::resize(crop, resized, cv::Size(kFeceSide, kFeceSide), 0, 0, cv::INTER_LINEAR);
    cv::cvtColor(resized, rgb, cv::COLOR_BGR2RGB);
    rgb.convertTo(floats, CV_32F, 1.0 / 255.0);
    cv::subtract(floats, cv::Scalar(0.485, 0.456, 0.406), floats);
    cv::divide(floats, cv::Scalar(0.229, 0.224, 0.225), floats);
    cv::split(floats, planes);
    benchmark::ClobberMemory();
  }
}

void FeceResizeOnly(benchmark::State& state, const cv::Size& size) {
  const cv::Mat crop = Noise(size.height, size.width);
  for (auto _ : state) {
    cv::Mat resized;
    cv::resize(crop, resized, cv::Size(kFeceSide, kFeceSide), 0, 0, cv::INTER_LINEAR);
    benchmark::DoNotOptimize(resized.data);
  }
}

void Register() {
  using benchmark::RegisterBenchmark;
  constexpr std::size_t kImage = std::size_t{3} * kSide * kSide;
  RegisterBenchmark("PopulateData/ours", PopulateOurs);
  RegisterBenchmark("PopulateData/blob_from_image", PopulateBlob);
  RegisterBenchmark("PopulateData/memcpy", Copy, kImage);
  for (const cv::Size& size : {cv::Size(640, 640), cv::Size(960, 540)}) {
    const std::string name =
        "Patches_" + std::to_string(size.width) + "x" + std::to_string(size.height);
    RegisterBenchmark((name + "/ours").c_str(), PatchesOurs, size);
    RegisterBenchmark((name + "/opencv").c_str(), PatchesOpenCv, size);
    RegisterBenchmark((name + "/memcpy").c_str(), Copy, 6 * kImage);
  }
  for (const cv::Size& size : {cv::Size(30, 40), cv::Size(224, 224), cv::Size(600, 800)}) {
    const std::string name =
        "PreProcessFece_" + std::to_string(size.width) + "x" + std::to_string(size.height);
    RegisterBenchmark((name + "/ours").c_str(), FeceOurs, size);
    RegisterBenchmark((name + "/opencv").c_str(), FeceOpenCv, size);
    RegisterBenchmark((name + "/resize_only").c_str(), FeceResizeOnly, size);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
