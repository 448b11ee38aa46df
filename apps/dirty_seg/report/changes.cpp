#include "report/changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "base/errors.h"
#include "base/text.h"
#include "compare/difference.h"
#include "report/listed_detections.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

void RefuseWithoutCommonFrame(const Results& results, const Results& other,
                              const ResultsComparison& comparison) {
  if (!comparison.frames.empty()) return;
  for (const Results* each : {&other, &results}) {
    if (!each->frames.empty()) continue;
    throw SetupError(
        fmt::format("'{}' has no frame; expected two runs over the same frames to "
                    "show what changed",
                    each->file));
  }
  throw SetupError(fmt::format(
      "'{}' and '{}' have no frame in common; expected two runs over the same files: a frame is "
      "known by its source, or else its file's name, and its number",
      results.file, other.file));
}

template <typename Condition, typename Value>
void AddPairs(const char* key, const std::vector<DetectionPair>& pairs, Condition is_listed,
              Value value_of, ordered_json& json) {
  ordered_json list = ordered_json::array();
  for (const DetectionPair& pair : pairs) {
    if (is_listed(pair)) list.push_back({pair.a, pair.b, value_of(pair)});
  }
  if (!list.empty()) json[key] = std::move(list);
}

void AddMatching(const Matching& matching, ordered_json& json) {
  if (!matching.only_in_a.empty()) json["appeared"] = matching.only_in_a;
  if (!matching.only_in_b.empty()) json["vanished"] = matching.only_in_b;
  for (const DetectionPair& pair : matching.class_changes) {
    json["relabelled"].push_back({pair.a, pair.b});
  }
  AddPairs(
      "moved", matching.matched, HasMoved,
      [](const DetectionPair& pair) { return Rounded(pair.box_distance, 1e2); }, json);
  AddPairs(
      "rescored", matching.matched, HasOtherScore,
      [](const DetectionPair& pair) { return Rounded(pair.score_difference, 1e4); }, json);
}

ordered_json DifferenceToJson(const FrameDifference& difference) {
  ordered_json json = ordered_json::object();
  AddMatching(difference.matching, json);
  for (const auto& [label, iou] : difference.mask_ious) {
    if (AreOtherMasks(iou)) json["masks"][std::to_string(label)] = Rounded(iou, 1e4);
  }
  for (const VerdictChange& change : difference.verdict_changes) {
    json["verdicts"].push_back({change.a, change.b, change.in_b});
  }
  return json;
}

bool HasThings(const Results& results) {
  return std::any_of(results.frames.begin(), results.frames.end(),
                     [](const StoredFrame& frame) { return frame.things.has_value(); });
}

bool IsSameFile(const Results& results, const Results& other) {
  std::error_code ignored;
  return fs::equivalent(results.file, other.file, ignored);
}

}  // namespace

Changes::Changes(const Results& results, const OtherRun& other)
    : results_(results),
      other_(other),
      comparison_(CompareResults(results, other.results)),
      pairs_(results.frames.size()) {
  RefuseWithoutCommonFrame(results, other.results, comparison_);
  const auto index_of = [this](const StoredFrame* frame) {
    return static_cast<std::size_t>(frame - results_.frames.data());
  };
  for (const ComparedFrame& frame : comparison_.frames) {
    pairs_[index_of(frame.a)] = frame;
    if (IsChanged(frame.difference)) changed_.insert(index_of(frame.a));
  }
  for (const StoredFrame* frame : comparison_.only_in_a) changed_.insert(index_of(frame));
}

ordered_json Changes::FrameToJson(std::size_t index) const {
  const ComparedFrame& frame = pairs_[index];
  if (frame.b == nullptr) return {{"only_here", true}};
  ordered_json json = DifferenceToJson(frame.difference);
  if (frame.difference.success_changed) json["failed"] = frame.a->success ? "there" : "here";
  return json;
}

ordered_json Changes::ToJson() const {
  return {{"name", other_.name},
          {"common", comparison_.frames.size()},
          {"changed", changed_.size()},
          {"only_here", comparison_.only_in_a.size()},
          {"only_there", comparison_.only_in_b.size()}};
}

std::vector<std::pair<std::string, bool>> Changes::Notes() const {
  std::vector<std::pair<std::string, bool>> notes{{OutcomeText(), false}};
  if (IsSameFile(results_, other_.results)) {
    notes.emplace_back("The other run is this run itself: nothing can differ.", true);
  }
  if (!comparison_.only_in_b.empty()) notes.emplace_back(OnlyThereText(), false);
  if (other_.results.ends_unfinished) {
    notes.emplace_back(
        "The last line of the other run ends in the middle, as a run that is killed leaves it. Its "
        "frame is left out.",
        true);
  }
  if (MixesThings()) {
    notes.emplace_back(
        "Only one of the two runs joined detections to things, so things are compared with "
        "detections of single patches.",
        true);
  }
  return notes;
}

std::string Changes::OutcomeText() const {
  const std::string facts = other_.facts ? Join(FactTexts(*other_.facts)) : "";
  std::string text = fmt::format("Compared with '{}'{}: {} of {} changed", other_.name,
                                 facts.empty() ? "" : " (" + facts + ")",
                                 changed_.empty() ? "none" : std::to_string(changed_.size()),
                                 Counted(results_.frames.size(), "frame"));
  if (const std::size_t only_here = comparison_.only_in_a.size(); only_here > 0) {
    text += fmt::format(", {} of which only this run has", only_here);
  }
  return text + ".";
}

// Named as far as there is room.
std::string Changes::OnlyThereText() const {
  constexpr std::size_t kMaxNamed = 10;
  const std::vector<const StoredFrame*>& rest = comparison_.only_in_b;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < std::min(rest.size(), kMaxNamed); ++i) {
    names.push_back(FrameText(*rest[i]));
  }
  if (rest.size() > kMaxNamed) names.push_back(fmt::format("and {} more", rest.size() - kMaxNamed));
  return fmt::format("The other run has {} that this one has not: {}.",
                     Counted(rest.size(), "frame"), Join(names));
}

// A frame that failed has neither.
bool Changes::MixesThings() const { return HasThings(results_) != HasThings(other_.results); }

}  // namespace dirty_seg
