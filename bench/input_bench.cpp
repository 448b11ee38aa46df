// From pixels to tensors, against OpenCV's own calls and against the copy of the tensor's bytes,
// which no way of writing it can beat.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/quiet.h"
#include "bench/scene.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using namespace bench;
using namespace nuvik::perception::dirty_seg_detector;

constexpr int kFeceSide = 224;
constexpr std::size_t kImageFloats = std::size_t{3} * kSide * kSide;
constexpr std::size_t kFeceFloats = std::size_t{3} * kFeceSide * kFeceSide;

cv::Mat Noise(const cv::Size& size) {
  cv::Mat image(size, CV_8UC3);
  cv::RNG random(1);
  random.fill(image, cv::RNG::UNIFORM, 0, 256);
  return image;
}

AIBuff Tensor(std::size_t floats) {
  AIBuff buffer;
  buffer.data->resize(floats * sizeof(float));
  return buffer;
}

// The sides' formulas round differently, by a few units of the last place.
void RequireEqual(const float* a, const float* b, std::size_t count, float tolerance) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!(std::abs(a[i] - b[i]) <= tolerance)) {
      throw std::runtime_error("both sides wrote different tensors");
    }
  }
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

cv::Mat BlobOf(const cv::Mat& image) {
  return cv::dnn::blobFromImage(image, 1.0 / 255.0, image.size(), cv::Scalar(), true);
}

void PopulateOurs(benchmark::State& state) {
  const cv::Mat image = Noise({kSide, kSide});
  std::vector<float> tensor(kImageFloats);
  DirtySegDetector detector;
  detector.PopulateData(image, tensor.data());
  RequireEqual(tensor.data(), BlobOf(image).ptr<float>(), kImageFloats, 1e-6F);
  for (auto _ : state) benchmark::DoNotOptimize(detector.PopulateData(image, tensor.data()));
}

void PopulateBlob(benchmark::State& state) {
  const cv::Mat image = Noise({kSide, kSide});
  for (auto _ : state) benchmark::DoNotOptimize(BlobOf(image));
}

// --- six patches of a frame ----------------------------------------------------------------------

cv::Mat Letterbox(const cv::Mat& crop) {
  const double scale = static_cast<double>(kSide) / std::max(crop.cols, crop.rows);
  cv::Mat scaled;
  cv::resize(crop, scaled, cv::Size(), scale, scale, cv::INTER_NEAREST);
  const int top = (kSide - scaled.rows) / 2;
  const int left = (kSide - scaled.cols) / 2;
  cv::Mat square;
  cv::copyMakeBorder(scaled, square, top, kSide - scaled.rows - top, left,
                     kSide - scaled.cols - left, cv::BORDER_CONSTANT, cv::Scalar(114, 114, 114));
  return square;
}

cv::Mat BlobOf(const cv::Mat& frame, const std::vector<cv::Rect>& patches) {
  std::vector<cv::Mat> squares;
  for (const cv::Rect& patch : patches) squares.push_back(Letterbox(frame(patch)));
  return cv::dnn::blobFromImages(squares, 1.0 / 255.0, cv::Size(kSide, kSide), cv::Scalar(), true);
}

void PatchesOurs(benchmark::State& state, const cv::Size& size) {
  const auto frame = std::make_shared<cv::Mat>(Noise({1920, 1080}));
  const ImageMap images{{"color", frame}};
  DirtySegDetector detector;
  detector.patches_ = PatchGrid(kSlots, size);
  AIBuff tensor = Tensor(kSlots * kImageFloats);
  const auto crop = [&] {
    return detector.PreProcessFromSingleImageCrop(images, tensor, cv::Size(kSide, kSide));
  };
  if (!crop()) throw std::runtime_error("the patches do not fit");
  RequireEqual(reinterpret_cast<const float*>(tensor.data->data()),
               BlobOf(*frame, detector.patches_).ptr<float>(), kSlots * kImageFloats, 1e-6F);
  for (auto _ : state) benchmark::DoNotOptimize(crop());
}

void PatchesOpenCv(benchmark::State& state, const cv::Size& size) {
  const cv::Mat frame = Noise({1920, 1080});
  const std::vector<cv::Rect> patches = PatchGrid(kSlots, size);
  for (auto _ : state) benchmark::DoNotOptimize(BlobOf(frame, patches));
}

// --- one crop for the classifier -----------------------------------------------------------------

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

std::string Sized(const char* name, const cv::Size& size) {
  return std::string(name) + "_" + std::to_string(size.width) + "x" + std::to_string(size.height);
}

void Register() {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark("PopulateData/ours", PopulateOurs);
  RegisterBenchmark("PopulateData/blob_from_image", PopulateBlob);
  RegisterBenchmark("PopulateData/memcpy", Copy, kImageFloats);
  for (const cv::Size& size : {cv::Size(640, 640), cv::Size(960, 540)}) {
    const std::string name = Sized("Patches", size);
    RegisterBenchmark((name + "/ours").c_str(), PatchesOurs, size);
    RegisterBenchmark((name + "/opencv").c_str(), PatchesOpenCv, size);
    RegisterBenchmark((name + "/memcpy").c_str(), Copy, kSlots * kImageFloats);
  }
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
