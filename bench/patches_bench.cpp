// Six patches of a frame into a tensor, against the same made of OpenCV calls and against the bare
// copy.
#include <benchmark/benchmark.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/pixels.h"
#include "bench/quiet.h"
#include "bench/scene.h"
#include "bench/usual_way.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using namespace bench;
using namespace nuvik::perception::dirty_seg_detector;

constexpr std::size_t kImageFloats = std::size_t{3} * kSide * kSide;

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

void Register() {
  using benchmark::RegisterBenchmark;
  for (const cv::Size& size : {cv::Size(640, 640), cv::Size(960, 540)}) {
    const std::string name = Sized("Patches", size);
    RegisterBenchmark((name + "/ours").c_str(), PatchesOurs, size);
    RegisterBenchmark((name + "/opencv").c_str(), PatchesOpenCv, size);
    RegisterBenchmark((name + "/memcpy").c_str(), Copy, kSlots * kImageFloats);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
