#include "compare/results_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/printable.h"
#include "base/text_table.h"
#include "console/interruption.h"
#include "files/name_text.h"
#include "frames/frame.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using Frames = std::vector<const StoredFrame*>;
using Key = std::pair<std::string, std::int64_t>;
using FramePair = std::pair<const StoredFrame*, const StoredFrame*>;

constexpr std::size_t kMaxName = 32;

std::string FileName(const StoredFrame& frame) {
  return std::filesystem::path(frame.source).filename().string();
}

Frames PointersTo(const std::vector<StoredFrame>& frames) {
  Frames pointers;
  for (const StoredFrame& frame : frames) pointers.push_back(&frame);
  return pointers;
}

// Moves frames with equal keys from both lists into pairs.
void PairBy(const std::function<std::string(const StoredFrame&)>& name, Frames& a, Frames& b,
            std::vector<FramePair>& pairs) {
  std::multimap<Key, const StoredFrame*> waiting;  // keeps the order of equal keys
  for (const StoredFrame* frame : b) waiting.emplace(Key(name(*frame), frame->frame), frame);
  Frames rest_of_a;
  Frames taken;
  for (const StoredFrame* frame : a) {
    const auto partner = waiting.lower_bound(Key(name(*frame), frame->frame));
    if (partner == waiting.end() || partner->first != Key(name(*frame), frame->frame)) {
      rest_of_a.push_back(frame);
      continue;
    }
    pairs.emplace_back(frame, partner->second);
    taken.push_back(partner->second);
    waiting.erase(partner);
  }
  a = std::move(rest_of_a);
  std::sort(taken.begin(), taken.end());
  b.erase(std::remove_if(b.begin(), b.end(),
                         [&taken](const StoredFrame* frame) {
                           return std::binary_search(taken.begin(), taken.end(), frame);
                         }),
          b.end());
}

// The same picture, placed in the frame in two ways: they are compared in its own pixels.
bool LieOtherwise(const StoredFrame& a, const StoredFrame& b) {
  return a.fit && b.fit && a.fit->picture == b.fit->picture && a.fit->placed != b.fit->placed;
}

void MoveIntoPicture(const FrameFit& fit, FrameFindings& findings) {
  for (Detection& detection : findings.detections) {
    detection.box = BoxInPicture(detection.box, fit);
  }
  for (auto& [label, mask] : findings.masks) mask = MaskInPicture(mask, fit);
}

FrameFindings FindingsOf(const StoredFrame& frame, bool in_picture) {
  FrameFindings findings{frame.success, frame.detections, {}, {}};
  for (const auto& [label, mask] : frame.masks) {
    findings.masks[label] = DecodeMask(frame, label);
  }
  if (in_picture) MoveIntoPicture(*frame.fit, findings);
  for (const StoredCandidate& candidate : frame.candidates) {
    findings.verdicts[candidate.detection] = candidate.verdict;
  }
  if (!frame.confirmed.empty()) MarkNative(findings);
  return findings;
}

ordered_json DetectionsToJson(const std::vector<std::size_t>& indices, const StoredFrame& frame) {
  ordered_json list = ordered_json::array();
  for (const std::size_t i : indices) {
    const Detection& detection = frame.detections[i];
    list.push_back({{"detection", i},
                    {"label", detection.label},
                    {"score", detection.score},
                    {"bbox", detection.box}});
  }
  return list;
}

ordered_json ClassChangesToJson(const ComparedFrame& frame) {
  ordered_json list = ordered_json::array();
  for (const DetectionPair& pair : frame.difference.matching.class_changes) {
    list.push_back({{"a", pair.a},
                    {"b", pair.b},
                    {"label_a", frame.a->detections[pair.a].label},
                    {"label_b", frame.b->detections[pair.b].label},
                    {"box_distance", pair.box_distance},
                    {"score_difference", pair.score_difference}});
  }
  return list;
}

ordered_json VerdictChangesToJson(const FrameDifference& difference) {
  ordered_json list = ordered_json::array();
  for (const VerdictChange& change : difference.verdict_changes) {
    list.push_back(
        {{"a", change.a}, {"b", change.b}, {"verdict_a", change.in_a}, {"verdict_b", change.in_b}});
  }
  return list;
}

ordered_json FrameToJson(const ComparedFrame& frame) {
  const DifferenceTotals totals = TotalsOf(frame.difference);
  ordered_json json;
  PutName("source_a", frame.a->source, json);
  PutName("source_b", frame.b->source, json);
  json["frame"] = frame.a->frame;
  json["success_a"] = frame.a->success;
  json["success_b"] = frame.b->success;
  json["matched"] = totals.matched;
  json["only_in_a"] = DetectionsToJson(frame.difference.matching.only_in_a, *frame.a);
  json["only_in_b"] = DetectionsToJson(frame.difference.matching.only_in_b, *frame.b);
  json["class_changes"] = ClassChangesToJson(frame);
  json["box_distance"] = ToJson(SpreadToGreatest(totals.box_distances));
  json["score_difference"] = ToJson(SpreadToGreatest(totals.score_differences));
  ordered_json& ious = json["mask_iou"] = ordered_json::object();
  for (const auto& [label, iou] : frame.difference.mask_ious) ious[std::to_string(label)] = iou;
  json["fece_verdict_changes"] = VerdictChangesToJson(frame.difference);
  return json;
}

ordered_json UnpairedToJson(const Frames& frames) {
  ordered_json list = ordered_json::array();
  for (const StoredFrame* frame : frames) {
    ordered_json& entry = list.emplace_back();
    PutName("source", frame->source, entry);
    entry["frame"] = frame->frame;
  }
  return list;
}

std::string WorstText(const std::optional<Spread>& spread, int decimals) {
  return spread ? Fixed(spread->worst, decimals) : "-";
}

// The file name, shortened at the front if it is long, and the number of a frame that is not the
// first.
std::string ShortName(const StoredFrame& frame) {
  std::string name = FileName(frame);
  if (name.size() > kMaxName) {
    std::size_t begin = name.size() - kMaxName + 3;
    while ((static_cast<unsigned char>(name[begin]) & 0xc0U) == 0x80U) ++begin;  // whole characters
    name = "..." + name.substr(begin);
  }
  return frame.frame == 0 ? name : fmt::format("{} #{}", name, frame.frame);
}

std::vector<std::string> TableRow(const ComparedFrame& frame) {
  const DifferenceTotals totals = TotalsOf(frame.difference);
  return {ShortName(*frame.a),
          std::to_string(totals.matched),
          std::to_string(totals.only_in_a),
          std::to_string(totals.only_in_b),
          std::to_string(totals.class_changes),
          WorstText(SpreadToGreatest(totals.box_distances), kDistanceDecimals),
          WorstText(SpreadToGreatest(totals.score_differences), kScoreDecimals),
          WorstText(SpreadToLeast(totals.AllMaskIous()), kOverlapDecimals),
          std::to_string(totals.verdict_changes)};
}

std::string UnpairedText(const Frames& frames, const char* side) {
  std::string text;
  for (const StoredFrame* frame : frames) {
    text += fmt::format("only in {}  {}\n", side, Printable(FrameText(*frame)));
  }
  return text;
}

}  // namespace

ResultsComparison CompareResults(const Results& a, const Results& b) {
  ResultsComparison comparison;
  comparison.only_in_a = PointersTo(a.frames);
  comparison.only_in_b = PointersTo(b.frames);
  std::vector<FramePair> pairs;
  PairBy([](const StoredFrame& frame) { return frame.source; }, comparison.only_in_a,
         comparison.only_in_b, pairs);
  PairBy(FileName, comparison.only_in_a, comparison.only_in_b, pairs);
  std::sort(pairs.begin(), pairs.end(),
            [](const FramePair& x, const FramePair& y) { return x.first < y.first; });
  for (const auto& [in_a, in_b] : pairs) {
    ThrowIfInterrupted();
    const bool in_picture = LieOtherwise(*in_a, *in_b);
    comparison.frames.push_back(
        {in_a, in_b,
         CompareFindings(FindingsOf(*in_a, in_picture), FindingsOf(*in_b, in_picture))});
    comparison.all.Add(comparison.frames.back().difference);
  }
  return comparison;
}

std::string FrameText(const StoredFrame& frame) {
  return FrameText(frame.source, frame.frame == 0 ? std::nullopt : std::optional(frame.frame));
}

ordered_json ToJson(const ResultsComparison& comparison) {
  ordered_json json;
  ordered_json& frames = json["frames"] = ordered_json::array();
  for (const ComparedFrame& frame : comparison.frames) frames.push_back(FrameToJson(frame));
  json["only_in_a"] = UnpairedToJson(comparison.only_in_a);
  json["only_in_b"] = UnpairedToJson(comparison.only_in_b);
  json["all"] = ToJson(comparison.all);
  return json;
}

std::string ComparisonText(const ResultsComparison& comparison) {
  std::vector<std::vector<std::string>> rows{{"frame, its worst", "matched", "only A", "only B",
                                              "class", "box px", "score", "mask IoU", "fece"}};
  for (const ComparedFrame& frame : comparison.frames) rows.push_back(TableRow(frame));
  return FormatTable(rows) + UnpairedText(comparison.only_in_a, "A") +
         UnpairedText(comparison.only_in_b, "B") +
         fmt::format("\nall {} frames\n", comparison.frames.size()) + TotalsText(comparison.all);
}

}  // namespace dirty_seg
