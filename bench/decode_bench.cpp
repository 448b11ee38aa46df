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
#include "engine/yolov8_postprocess.h"

namespace {

using namespace bench;
using nuvik::model::Object;
using nuvik::model::Yolov8Postprocess;
using ObjectLists = std::vector<std::vector<Object>>;

// --- the usual way -------------------------------------------------------------------------------

struct Found {
  cv::Rect2f box;
  int label;
  float score;
  cv::Mat coefficients;
};

// Every anchor's best class.
std::vector<Found> FindGeneric(const float* predictions) {
  const cv::Mat channels(kChannels, kAnchors, CV_32F, const_cast<float*>(predictions));
  const cv::Mat anchors = channels.t();
  std::vector<Found> found;
  for (int anchor = 0; anchor < kAnchors; ++anchor) {
    const cv::Mat row = anchors.row(anchor);
    double score = 0;
    cv::Point best;
    cv::minMaxLoc(row.colRange(4, 4 + kClasses), nullptr, &score, nullptr, &best);
    if (score <= 0.25) continue;
    const float* box = row.ptr<float>();
    found.push_back({{box[0] - box[2] / 2, box[1] - box[3] / 2, box[2], box[3]},
                     best.x,
                     static_cast<float>(score),
                     row.colRange(4 + kClasses, kChannels).clone()});
  }
  return found;
}

std::vector<Found> SuppressGeneric(std::vector<Found> found) {
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& a, const Found& b) { return a.score > b.score; });
  std::vector<Found> kept;
  for (const Found& candidate : found) {
    const auto is_worse_than = [&candidate](const Found& better) {
      const float common = (better.box & candidate.box).area();
      const float all = better.box.area() + candidate.box.area() - common;
      return better.label == candidate.label && common / all > 0.7F;
    };
    if (std::none_of(kept.begin(), kept.end(), is_worse_than)) kept.push_back(candidate);
  }
  return kept;
}

// All prototypes, sigmoid, resize to the patch, threshold, crop.
cv::Mat DrawGeneric(const Found& found, const cv::Mat& layers) {
  const cv::Mat flat = found.coefficients * layers;
  const cv::Mat logits = flat.reshape(1, kProtoSide);
  cv::Mat exponential;
  cv::exp(-logits, exponential);
  const cv::Mat probability = 1.0 / (1.0 + exponential);
  cv::Mat large;
  cv::resize(probability, large, cv::Size(kSide, kSide), 0, 0, cv::INTER_LINEAR);
  const cv::Mat inside = large > 0.5;
  cv::Mat mask = cv::Mat::zeros(kSide, kSide, CV_8UC1);
  const cv::Rect box = cv::Rect(found.box) & cv::Rect(0, 0, kSide, kSide);
  inside(box).copyTo(mask(box));
  return mask;
}

std::vector<Object> DecodeGeneric(const float* predictions, const float* prototypes) {
  const cv::Mat layers(kCoefficients, kProtoSide * kProtoSide, CV_32F,
                       const_cast<float*>(prototypes));
  std::vector<Object> objects;
  for (const Found& found : SuppressGeneric(FindGeneric(predictions))) {
    const cv::Rect2f& box = found.box;
    objects.push_back({box.x, box.y, box.width, box.height, found.label, found.score,
                       DrawGeneric(found, layers)});
  }
  return objects;
}

ObjectLists DecodeGeneric(const Outputs& outputs) {
  ObjectLists lists;
  for (int slot = 0; slot < kSlots; ++slot) {
    lists.push_back(DecodeGeneric(SlotPredictions(outputs, slot), SlotPrototypes(outputs, slot)));
  }
  return lists;
}

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
