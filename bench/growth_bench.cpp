// How the cost beside the network grows with patches, objects and candidates.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/quiet.h"
#include "bench/scene.h"
#include "decode/candidates.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using namespace bench;
using namespace nuvik::perception::dirty_seg_detector;
using nuvik::model::Candidate;

constexpr int kTypicalObjects = 10;
constexpr std::size_t kDefaultLimit = 300;

// --- patches and objects -------------------------------------------------------------------------

void Crop(benchmark::State& state, int patches) {
  const auto frame = std::make_shared<cv::Mat>(1080, 1920, CV_8UC3, cv::Scalar(10, 20, 30));
  const ImageMap images{{"color", frame}};
  DirtySegDetector detector;
  detector.patches_ = PatchGrid(patches);
  AIBuff tensor;
  tensor.data->resize(sizeof(float) * 3 * kSide * kSide * static_cast<std::size_t>(patches));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        detector.PreProcessFromSingleImageCrop(images, tensor, cv::Size(kSide, kSide)));
  }
}

void Decode(benchmark::State& state, int patches, int objects) {
  Outputs& outputs = Scene(patches, objects);
  const auto decoder = MakeDecoder(patches);
  std::vector<std::vector<nuvik::model::Object>> lists;
  decoder->PostProcess(outputs, lists);  // a frame has one before it
  for (auto _ : state) {
    decoder->PostProcess(outputs, lists);
    benchmark::DoNotOptimize(lists.data());
  }
}

// Every label brings a mask of the whole frame that leaves with the result.
void Convert(benchmark::State& state, int patches, int objects, int labels) {
  auto record = std::make_shared<DirtySegDetectorResData>();
  MakeDecoder(patches)->PostProcess(Scene(patches, objects), record->patch_objects);
  for (auto& list : record->patch_objects) {
    for (nuvik::model::Object& object : list) object.label %= labels;
  }
  DirtySegDetector detector;
  detector.config_ = std::make_shared<DirtySegDetectorConfig>();
  detector.patches_ = PatchGrid(patches);
  for (auto _ : state) {
    benchmark::DoNotOptimize(detector.ConvertToDirtyStatusResult({}, record));
  }
}

// --- candidates of one patch, all of one class ---------------------------------------------------

Candidate At(float x, float y, int anchor) { return {x, y, x + 6, y + 6, 0, 0, anchor}; }

// A row of boxes, none touching another.
std::vector<Candidate> Apart(std::size_t count) {
  std::vector<Candidate> candidates;
  for (std::size_t i = 0; i < count; ++i) {
    const auto place = static_cast<int>(i);
    const int column = place % 92;
    const int row = place / 92;
    candidates.push_back(At(static_cast<float>(column) * 7, static_cast<float>(row) * 7, place));
  }
  return candidates;
}

// The first of them, many times.
std::vector<Candidate> Together(std::size_t count) {
  std::vector<Candidate> candidates(count, At(0, 0, 0));
  for (std::size_t i = 0; i < count; ++i) candidates[i].anchor = static_cast<int>(i);
  return candidates;
}

// One less than are kept lie apart, and all others lie on the last of these: each of them is held
// against every kept one before the one that it overlaps.
std::vector<Candidate> Behind(std::size_t count) {
  std::vector<Candidate> candidates = Apart(count);
  for (std::size_t i = kDefaultLimit - 1; i < count; ++i) {
    const Candidate& last = candidates[kDefaultLimit - 2];
    candidates[i] = At(last.x1, last.y1, static_cast<int>(i));
  }
  return candidates;
}

// In the order of their anchors, so that the list says who is compared with whom; but not sorted
// beforehand.
void SetScores(std::vector<Candidate>& candidates) {
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    candidates[i].score = 0.9F - 0.00005F * static_cast<float>(i);
  }
  std::shuffle(candidates.begin(), candidates.end(), std::mt19937(1));
}

void SuppressAll(benchmark::State& state, std::vector<Candidate> candidates, std::size_t limit) {
  SetScores(candidates);
  std::vector<Candidate> kept;
  for (auto _ : state) {
    kept = candidates;
    nuvik::model::Suppress(0.7F, false, limit, kept);
    benchmark::DoNotOptimize(kept.data());
  }
  state.counters["kept"] = static_cast<double>(kept.size());
}

void Register() {
  using benchmark::RegisterBenchmark;
  for (const int patches : {1, 2, 4, 8, 16}) {
    const std::string name = "GrowthPatches_" + std::to_string(patches);
    RegisterBenchmark((name + "/crop").c_str(), Crop, patches);
    RegisterBenchmark((name + "/decode").c_str(), Decode, patches, kTypicalObjects);
    RegisterBenchmark((name + "/convert").c_str(), Convert, patches, kTypicalObjects, 1);
  }
  for (const int objects : {0, 10, 100, 300, 1000}) {
    const std::string name = "GrowthObjects_" + std::to_string(objects);
    RegisterBenchmark((name + "/decode").c_str(), Decode, 1, objects);
    RegisterBenchmark((name + "/convert").c_str(), Convert, 1, objects, 1);
  }
  for (const int labels : {1, 2, 4, 8, 16, kClasses}) {
    RegisterBenchmark(("GrowthLabels_" + std::to_string(labels) + "/convert").c_str(), Convert, 1,
                      2 * kClasses, labels);
  }
  for (const std::size_t count : {1050U, 2100U, 4200U, 8400U}) {
    const std::string name = "GrowthCandidates_" + std::to_string(count);
    RegisterBenchmark((name + "/apart").c_str(), SuppressAll, Apart(count), kDefaultLimit);
    RegisterBenchmark((name + "/together").c_str(), SuppressAll, Together(count), kDefaultLimit);
    RegisterBenchmark((name + "/behind").c_str(), SuppressAll, Behind(count), kDefaultLimit);
    RegisterBenchmark((name + "/apart_unlimited").c_str(), SuppressAll, Apart(count), count);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
