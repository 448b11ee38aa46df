#include "compare/difference.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numeric>

#include "detector/labels.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

std::map<int, double> CompareMasks(const std::map<int, cv::Mat>& a,
                                   const std::map<int, cv::Mat>& b) {
  std::map<int, double> ious;
  for (const auto& [label, mask] : a) {
    const auto other = b.find(label);
    ious[label] = MaskIou(mask, other == b.end() ? cv::Mat() : other->second);
  }
  for (const auto& [label, mask] : b) {
    if (a.count(label) == 0) ious[label] = MaskIou(cv::Mat(), mask);
  }
  return ious;
}

void CompareVerdicts(const FrameFindings& a, const FrameFindings& b,
                     const std::vector<DetectionPair>& pairs, FrameDifference& difference) {
  for (const DetectionPair& pair : pairs) {
    const auto in_a = a.verdicts.find(pair.a);
    const auto in_b = b.verdicts.find(pair.b);
    if (in_a == a.verdicts.end() || in_b == b.verdicts.end()) continue;
    ++difference.verdicts;
    if (in_a->second == in_b->second) continue;
    difference.verdict_changes.push_back({pair.a, pair.b, in_a->second, in_b->second});
  }
}

// As told with so many digits after the point.
bool IsNothing(double difference, int decimals) {
  return difference < 0.5 * std::pow(10.0, -decimals);
}

double Mean(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

std::string Line(std::string name, const std::string& value) {
  constexpr std::size_t kNameWidth = 20;
  name.resize(std::max(kNameWidth, name.size() + 1), ' ');
  return name + value + "\n";
}

}  // namespace

std::size_t FrameDifference::Unmatched() const {
  return matching.class_changes.size() + matching.only_in_a.size() + matching.only_in_b.size();
}

void MarkNative(FrameFindings& findings) {
  for (std::size_t i = 0; i < findings.detections.size(); ++i) {
    if (findings.detections[i].label == kFeceLabel) findings.verdicts.emplace(i, "native");
  }
}

FrameDifference CompareFindings(const FrameFindings& a, const FrameFindings& b) {
  FrameDifference difference;
  difference.success_changed = a.success != b.success;
  difference.matching = MatchDetections(a.detections, b.detections);
  difference.mask_ious = CompareMasks(a.masks, b.masks);
  CompareVerdicts(a, b, difference.matching.matched, difference);
  CompareVerdicts(a, b, difference.matching.class_changes, difference);
  return difference;
}

bool HasMoved(const DetectionPair& pair) {
  return !IsNothing(pair.box_distance, kDistanceDecimals);
}

bool HasOtherScore(const DetectionPair& pair) {
  return !IsNothing(pair.score_difference, kScoreDecimals);
}

bool AreOtherMasks(double iou) { return !IsNothing(1.0 - iou, kOverlapDecimals); }

bool IsChanged(const FrameDifference& difference) {
  const std::vector<DetectionPair>& matched = difference.matching.matched;
  return difference.success_changed || difference.Unmatched() > 0 ||
         !difference.verdict_changes.empty() ||
         std::any_of(matched.begin(), matched.end(), HasMoved) ||
         std::any_of(matched.begin(), matched.end(), HasOtherScore) ||
         std::any_of(difference.mask_ious.begin(), difference.mask_ious.end(),
                     [](const auto& entry) { return AreOtherMasks(entry.second); });
}

std::optional<Spread> SpreadToGreatest(const std::vector<double>& values) {
  if (values.empty()) return std::nullopt;
  return Spread{Mean(values), *std::max_element(values.begin(), values.end())};
}

std::optional<Spread> SpreadToLeast(const std::vector<double>& values) {
  if (values.empty()) return std::nullopt;
  return Spread{Mean(values), *std::min_element(values.begin(), values.end())};
}

void DifferenceTotals::Add(const FrameDifference& frame) {
  ++frames;
  if (frame.success_changed) ++success_changes;
  matched += frame.matching.matched.size();
  class_changes += frame.matching.class_changes.size();
  only_in_a += frame.matching.only_in_a.size();
  only_in_b += frame.matching.only_in_b.size();
  verdicts += frame.verdicts;
  verdict_changes += frame.verdict_changes.size();
  for (const DetectionPair& pair : frame.matching.matched) {
    box_distances.push_back(pair.box_distance);
    score_differences.push_back(pair.score_difference);
  }
  for (const auto& [label, iou] : frame.mask_ious) mask_ious[label].push_back(iou);
}

std::vector<double> DifferenceTotals::AllMaskIous() const {
  std::vector<double> all;
  for (const auto& [label, ious] : mask_ious) all.insert(all.end(), ious.begin(), ious.end());
  return all;
}

DifferenceTotals TotalsOf(const FrameDifference& frame) {
  DifferenceTotals totals;
  totals.Add(frame);
  return totals;
}

ordered_json ToJson(const std::optional<Spread>& spread) {
  if (!spread) return nullptr;
  return {{"mean", spread->mean}, {"worst", spread->worst}};
}

ordered_json ToJson(const DifferenceTotals& totals) {
  ordered_json json;
  json["frames"] = totals.frames;
  json["success_changes"] = totals.success_changes;
  json["matched"] = totals.matched;
  json["only_in_a"] = totals.only_in_a;
  json["only_in_b"] = totals.only_in_b;
  json["class_changes"] = totals.class_changes;
  json["box_distance"] = ToJson(SpreadToGreatest(totals.box_distances));
  json["score_difference"] = ToJson(SpreadToGreatest(totals.score_differences));
  ordered_json& ious = json["mask_iou"] = ordered_json::object();
  for (const auto& [label, values] : totals.mask_ious) {
    ious[std::to_string(label)] = ToJson(SpreadToLeast(values));
  }
  json["fece_verdicts"] = totals.verdicts;
  json["fece_verdict_changes"] = totals.verdict_changes;
  return json;
}

std::string SpreadText(const std::optional<Spread>& spread, int decimals) {
  if (!spread) return "-";
  return fmt::format("mean {:.{}f}, worst {:.{}f}", spread->mean, decimals, spread->worst,
                     decimals);
}

std::string TotalsText(const DifferenceTotals& totals) {
  std::string text =
      Line("detections",
           fmt::format("{} matched, {} only in A, {} only in B, {} of another class",
                       totals.matched, totals.only_in_a, totals.only_in_b, totals.class_changes));
  text +=
      Line("box distance", SpreadText(SpreadToGreatest(totals.box_distances), kDistanceDecimals) +
                               (totals.box_distances.empty() ? "" : " pixels"));
  text += Line("score difference",
               SpreadText(SpreadToGreatest(totals.score_differences), kScoreDecimals));
  for (const auto& [label, ious] : totals.mask_ious) {
    text += Line(fmt::format("mask IoU, label {}", label),
                 SpreadText(SpreadToLeast(ious), kOverlapDecimals));
  }
  text += Line("fece verdicts",
               fmt::format("{} of {} changed", totals.verdict_changes, totals.verdicts));
  if (totals.success_changes != 0) {
    text += Line("frames", fmt::format("{} failed on only one side", totals.success_changes));
  }
  return text;
}

}  // namespace dirty_seg
