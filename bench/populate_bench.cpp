// One picture into a tensor, against the call that people write for it and against the bare copy.
// A program of its own: whether that call's new memory comes with new pages depends on the largest
// block that the process has freed before.
#include <benchmark/benchmark.h>

#include <opencv2/dnn.hpp>
#include <vector>

#include "bench/pixels.h"
#include "bench/quiet.h"
#include "bench/scene.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using namespace bench;
using namespace nuvik::perception::dirty_seg_detector;

constexpr std::size_t kImageFloats = std::size_t{3} * kSide * kSide;

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

// The same into memory that is kept: what the call costs without new pages.
void PopulateBlobKept(benchmark::State& state) {
  const cv::Mat image = Noise({kSide, kSide});
  cv::Mat blob;
  for (auto _ : state) {
    cv::dnn::blobFromImage(image, blob, 1.0 / 255.0, image.size(), cv::Scalar(), true);
    benchmark::ClobberMemory();
  }
}

void Register() {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark("PopulateData/ours", PopulateOurs);
  RegisterBenchmark("PopulateData/blob_from_image", PopulateBlob);
  RegisterBenchmark("PopulateData/blob_kept", PopulateBlobKept);
  RegisterBenchmark("PopulateData/memcpy", Copy, kImageFloats);
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
