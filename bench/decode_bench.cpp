// The decoder against what a decoder of the usual kind does, and against the memory that any
// decoder has to touch.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>
#include <set>
#include <stdexcept>

#include "bench/quiet.h"
#include "bench/scene.h"
#include "bench/usual_way.h"
#include "engine/yolov8_postprocess.h"

namespace {

using namespace bench;
using nuvik::model::Object;
using nuvik::model::Yolov8Postprocess;

// --- both sides ----------------------------------------------------------------------------------

void RequireEqual(const Object& ours, const Object& generic) {
  if (ours.label != generic.label || ours.score != generic.score ||
      std::abs(ours.x - generic.x) > 0.01F || std::abs(ours.y - generic.y) > 0.01F ||
      std::abs(ours.width - generic.width) > 0.01F ||
      std::abs(ours.height - generic.height) > 0.01F) {
    throw std::runtime_error("both sides found different objects");
  }
  // The usual way blends probabilities, ours logits, which moves a mask's outline by parts of a
  // pixel: at most one in a hundred pixels of the box.
  if (cv::countNonZero(ours.mask != generic.mask) > kObjectWidth * kObjectHeight / 100) {
    throw std::runtime_error("both sides drew different masks");
  }
}

// Compares both sides once a scene.
void RequireEqualSides(int objects) {
  static std::set<int> compared;
  if (!compared.insert(objects).second) return;
  ObjectLists ours;
  MakeDecoder(kSlots)->PostProcess(Scene(kSlots, objects), ours);
  const ObjectLists generic = DecodeGeneric(Scene(kSlots, objects));
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    if (ours.at(slot).size() != static_cast<std::size_t>(objects) ||
        generic.at(slot).size() != static_cast<std::size_t>(objects)) {
      throw std::runtime_error("a side did not find every object");
    }
    for (std::size_t i = 0; i < ours[slot].size(); ++i) {
      RequireEqual(ours[slot][i], generic[slot][i]);
    }
  }
}

void DecodeOurs(benchmark::State& state, int objects) {
  RequireEqualSides(objects);
  Outputs& outputs = Scene(kSlots, objects);
  const std::unique_ptr<Yolov8Postprocess> decoder = MakeDecoder(kSlots);
  ObjectLists lists;
  decoder->PostProcess(outputs, lists);  // a frame has one before it
  for (auto _ : state) {
    decoder->PostProcess(outputs, lists);
    benchmark::DoNotOptimize(lists.data());
  }
}

void DecodeUsual(benchmark::State& state, int objects) {
  const Outputs& outputs = Scene(kSlots, objects);
  for (auto _ : state) benchmark::DoNotOptimize(DecodeGeneric(outputs));
}

// The score planes read once, as fast as this build can.
float GreatestScore(const float* scores, std::size_t count) {
  constexpr std::size_t kLanes = cv::v_float32x4::nlanes;
  std::array<cv::v_float32x4, 4> best{cv::v_setzero_f32(), cv::v_setzero_f32(), cv::v_setzero_f32(),
                                      cv::v_setzero_f32()};
  static_assert(kClasses * kAnchors % (4 * kLanes) == 0, "no rest to read");
  for (std::size_t i = 0; i < count; i += 4 * kLanes) {
    for (std::size_t k = 0; k < 4; ++k) {
      best[k] = cv::v_max(best[k], cv::v_load(scores + i + k * kLanes));
    }
  }
  return cv::v_reduce_max(cv::v_max(cv::v_max(best[0], best[1]), cv::v_max(best[2], best[3])));
}

void ReadScores(benchmark::State& state) {
  const Outputs& outputs = Scene(kSlots, 0);
  for (auto _ : state) {
    for (int slot = 0; slot < kSlots; ++slot) {
      const float* scores = SlotPredictions(outputs, slot) + std::size_t{4} * kAnchors;
      benchmark::DoNotOptimize(GreatestScore(scores, std::size_t{kClasses} * kAnchors));
    }
  }
}

void CopyMask(benchmark::State& state) {
  const cv::Mat source = cv::Mat::ones(kSide, kSide, CV_8UC1);
  cv::Mat target = source.clone();
  for (auto _ : state) {
    std::memcpy(target.data, source.data, source.total());
    benchmark::ClobberMemory();
  }
}

void Register() {
  using benchmark::RegisterBenchmark;
  for (const int objects : {0, 1, 10, 50, 300}) {
    const std::string name = "Decode_" + std::to_string(objects);
    RegisterBenchmark((name + "/ours").c_str(), DecodeOurs, objects);
    RegisterBenchmark((name + "/generic").c_str(), DecodeUsual, objects);
  }
  RegisterBenchmark("Decode_0/read_scores", ReadScores);
  RegisterBenchmark("Decode_mask/memcpy", CopyMask);
}

}  // namespace

int main(int argc, char** argv) {
  Register();
  return RunQuietly(argc, argv);
}
