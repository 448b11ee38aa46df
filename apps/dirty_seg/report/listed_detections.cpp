#include "report/listed_detections.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

// Never rounds a fraction to a whole number: the box touches the same pixels as before.
double RoundedEdge(double edge) {
  const double rounded = Rounded(edge, 10.0);
  if (rounded == edge || rounded != std::floor(rounded)) return rounded;
  return rounded + (edge > rounded ? 0.1 : -0.1);
}

// Across and down.
std::array<double, 2> ScaleTo(const cv::Size& size, const cv::Size& own) {
  if (size == own || own.empty()) return {1.0, 1.0};
  return {static_cast<double>(size.width) / own.width,
          static_cast<double>(size.height) / own.height};
}

}  // namespace

double Rounded(double value, double steps) { return std::round(value * steps) / steps; }

bool HasClassifier(const Results& results, const std::optional<RunFacts>& facts) {
  if (facts && !facts->fece_model.empty()) return true;
  // Results without candidates show it by the name that only a confirmation gives.
  const auto shows_classifier = [](const StoredFrame& frame) {
    const auto name = frame.label_names.find(kFeceLabel);
    return !frame.candidates.empty() || !frame.confirmed.empty() ||
           (name != frame.label_names.end() && name->second == kFaecesName);
  };
  return std::any_of(results.frames.begin(), results.frames.end(), shows_classifier);
}

std::vector<Kind> KindsOf(const StoredFrame& frame, bool has_classifier) {
  std::vector<Kind> kinds;
  for (std::size_t i = 0; i < frame.detections.size(); ++i) {
    const int label = frame.detections[i].label;
    kinds.push_back({label, frame.confirmed.empty() ? has_classifier && label == kFeceLabel
                                                    : frame.confirmed[i]});
  }
  return kinds;
}

void AddDetections(const StoredFrame& frame, const cv::Size& size, ordered_json& json) {
  const std::array<double, 2> scale = ScaleTo(size, ReportedSize(frame));
  ordered_json boxes = ordered_json::array();
  ordered_json scores = ordered_json::array();
  for (const Detection& detection : frame.detections) {
    ordered_json& box = boxes.emplace_back();
    const std::array<float, 4> edges = BoxInPicture(detection, frame);
    for (std::size_t i = 0; i < edges.size(); ++i) {
      box.push_back(RoundedEdge(static_cast<double>(edges[i]) * scale[i % 2]));
    }
    scores.push_back(Rounded(static_cast<double>(detection.score), 1e4));
  }
  json["boxes"] = std::move(boxes);
  json["scores"] = std::move(scores);
}

cv::Size ReportedSize(const StoredFrame& frame) {
  return frame.image_size.value_or(nuvik::geometry::FrameSize());
}

}  // namespace dirty_seg
