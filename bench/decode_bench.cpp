// The decoder against what a decoder of the usual kind does, and against the memory that any
// decoder has to touch.
#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "bench/quiet.h"
#include "bench/scene.h"
#include "engine/yolov8_postprocess.h"

namespace {

using namespace bench;
using nuvik::model::Object;
using nuvik::model::Yolov8Postprocess;

// One patch, the usual way: every anchor's best class, cv-style suppression, and for each object
// all prototypes, sigmoid, resize to the patch, threshold, crop.
std::vector<Object> DecodeGeneric(const float* predictions, const float* prototypes) {
  struct Found {
    cv::Rect2f box;
    int label;
    float score;
    cv::Mat coefficients;
  };
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
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& a, const Found& b) { return a.score > b.score; });
  std::vector<Object> objects;
  std::vector<bool> is_dropped(found.size());
  const cv::Mat layers(kCoefficients, kProtoSide * kProtoSide, CV_32F,
                       const_cast<float*>(prototypes));
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (is_dropped[i]) continue;
    for (std::size_t j = i + 1; j < found.size(); ++j) {
      const float common = (found[i].box & found[j].box).area();
      const float all = found[i].box.area() + found[j].box.area() - common;
      if (found[i].label == found[j].label && common / all > 0.7F) is_dropped[j] = true;
    }
    const cv::Mat flat = found[i].coefficients * layers;
    const cv::Mat logits = flat.reshape(1, kProtoSide);
    cv::Mat negative;
    cv::exp(-logits, negative);
    const cv::Mat probability = 1.0 / (1.0 + negative);
    cv::Mat large;
    cv::resize(probability, large, cv::Size(kSide, kSide), 0, 0, cv::INTER_LINEAR);
    const cv::Mat mask = large > 0.5;
    cv::Mat cropped = cv::Mat::zeros(kSide, kSide, CV_8UC1);
    const cv::Rect box = cv::Rect(found[i].box) & cv::Rect(0, 0, kSide, kSide);
    mask(box).copyTo(cropped(box));
    objects.push_back({found[i].box.x, found[i].box.y, found[i].box.width, found[i].box.height,
                       found[i].label, found[i].score, cropped});
  }
  return objects;
}

std::vector<std::vector<Object>> DecodeGeneric(const std::map<std::string, AIBuff>& outputs) {
  const auto* predictions = reinterpret_cast<const float*>(outputs.at("output0").data->data());
  const auto* prototypes = reinterpret_cast<const float*>(outputs.at("output1").data->data());
  std::vector<std::vector<Object>> objects;
  for (int slot = 0; slot < kSlots; ++slot) {
    objects.push_back(DecodeGeneric(
        predictions + std::size_t{1} * slot * kChannels * kAnchors,
        prototypes + std::size_t{1} * slot * kCoefficients * kProtoSide * kProtoSide));
  }
  return objects;
}

// Both sides must find the same, but for pixels at the threshold: the usual way blends
// probabilities, ours logits, which differ along a mask's outline by parts of a pixel. At most one
// in a hundred pixels of an object's box.
void RequireEqual(const std::vector<std::vector<Object>>& a,
                  const std::vector<std::vector<Object>>& b) {
  for (std::size_t slot = 0; slot < a.size(); ++slot) {
    if (a[slot].size() != b[slot].size()) throw std::runtime_error("different numbers of objects");
    for (std::size_t i = 0; i < a[slot].size(); ++i) {
      const Object& x = a[slot][i];
      const Object& y = b[slot][i];
      if (x.label != y.label || x.score != y.score || std::abs(x.x - y.x) > 0.01F) {
        throw std::runtime_error("different objects");
      }
      if (cv::countNonZero(x.mask != y.mask) > kObjectWidth * kObjectHeight / 100) {
        throw std::runtime_error("different masks");
      }
    }
  }
}

void DecodeOurs(benchmark::State& state, int objects) {
  std::map<std::string, AIBuff> outputs = MakeScene(objects);
  Yolov8Postprocess postprocess(SceneRoot(), SceneConfig(), SceneSizes());
  std::vector<std::vector<Object>> lists;
  postprocess.PostProcess(outputs, lists);
  if (objects <= 50) RequireEqual(lists, DecodeGeneric(outputs));
  for (auto _ : state) {
    postprocess.PostProcess(outputs, lists);
    benchmark::DoNotOptimize(lists.data());
  }
}

void DecodeUsual(benchmark::State& state, int objects) {
  const std::map<std::string, AIBuff> outputs = MakeScene(objects);
  for (auto _ : state) benchmark::DoNotOptimize(DecodeGeneric(outputs));
}

// The score planes read once.
void ReadScores(benchmark::State& state) {
  const std::map<std::string, AIBuff> outputs = MakeScene(0);
  const auto* predictions = reinterpret_cast<const float*>(outputs.at("output0").data->data());
  for (auto _ : state) {
    float best[8] = {};
    for (int slot = 0; slot < kSlots; ++slot) {
      const float* scores =
          predictions + std::size_t{1} * slot * kChannels * kAnchors + std::size_t{4} * kAnchors;
      for (std::size_t i = 0; i < std::size_t{1} * kClasses * kAnchors; i += 8) {
        for (std::size_t lane = 0; lane < 8; ++lane) {
          best[lane] = scores[i + lane] > best[lane] ? scores[i + lane] : best[lane];
        }
      }
    }
    benchmark::DoNotOptimize(best);
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
