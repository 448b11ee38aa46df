#include "report/report_data.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/percentiles.h"
#include "base/text.h"
#include "drawing/overlay.h"
#include "files/result_names.h"
#include "report/listed_detections.h"
#include "results/stages.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

std::string ColourText(const cv::Scalar& bgr) {
  return fmt::format("#{:02x}{:02x}{:02x}", static_cast<unsigned>(bgr[2]),
                     static_cast<unsigned>(bgr[1]), static_cast<unsigned>(bgr[0]));
}

const char* OriginText(PictureOrigin origin) {
  return origin == PictureOrigin::kSource ? "source" : "overlay";
}

ordered_json CandidatesToJson(const std::vector<StoredCandidate>& candidates) {
  ordered_json json = ordered_json::array();
  for (const StoredCandidate& candidate : candidates) {
    ordered_json& entry = json.emplace_back();
    entry["detection"] = candidate.detection;
    entry["verdict"] = candidate.verdict;
    if (candidate.score) entry["score"] = Rounded(*candidate.score, 1e4);
  }
  return json;
}

ordered_json TimesToJson(const StoredFrame& frame, const std::vector<std::string>& stages) {
  ordered_json json = ordered_json::array();
  for (const std::string& stage : stages) {
    const auto time = frame.timing_ms.find(stage);
    if (!frame.success || time == frame.timing_ms.end()) {
      json.push_back(nullptr);
    } else {
      json.push_back(time->second);
    }
  }
  return json;
}

// `mask` of the frame, which `run_lengths` tell, as run lengths of the picture.
ordered_json PictureMaskToJson(const cv::Mat& mask, const RunLengths& run_lengths,
                               const StoredFrame& frame) {
  const bool is_fitted = frame.fit && !frame.fit->IsWholeFrame();
  return RunLengthsToJson(is_fitted ? EncodeRunLengths(MaskInPicture(mask, *frame.fit))
                                    : run_lengths);
}

std::vector<std::size_t> SpreadEvenly(const std::vector<std::size_t>& all, std::size_t most) {
  if (all.size() <= most) return all;
  std::vector<std::size_t> chosen(most);
  for (std::size_t i = 0; i < most; ++i) chosen[i] = all[i * all.size() / most];
  return chosen;
}

void AddNote(const std::string& text, bool is_warning, ordered_json& notes) {
  notes.push_back({{"text", text}, {"is_warning", is_warning}});
}

}  // namespace

std::vector<std::size_t> ChooseFrames(const std::vector<StoredFrame>& frames, std::size_t most,
                                      const std::set<std::size_t>& first) {
  std::vector<std::size_t> before;
  std::vector<std::size_t> after;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (frames[i].success) (first.count(i) != 0 ? before : after).push_back(i);
  }
  std::vector<std::size_t> chosen = SpreadEvenly(before, most);
  const std::vector<std::size_t> rest = SpreadEvenly(after, most - chosen.size());
  chosen.insert(chosen.end(), rest.begin(), rest.end());
  std::sort(chosen.begin(), chosen.end());
  return chosen;
}

ReportData::ReportData(const Results& results, std::optional<RunFacts> facts, const OtherRun* other)
    : results_(results),
      facts_(std::move(facts)),
      changes_(other == nullptr ? std::nullopt
                                : std::optional<Changes>(std::in_place, results, *other)),
      has_classifier_(HasClassifier(results, facts_)),
      other_has_classifier_(other != nullptr && HasClassifier(other->results, other->facts)),
      kinds_(FindKinds()),
      labels_(MakeLabels()) {}

std::vector<std::size_t> ReportData::ChooseFrames(std::size_t most) const {
  return dirty_seg::ChooseFrames(results_.frames, most,
                                 changes_ ? changes_->changed() : std::set<std::size_t>());
}

void ReportData::SetPicture(std::size_t index, const FramePicture& picture) {
  pictures_[index] = {picture.origin, picture.pixels.size()};
}

ordered_json ReportData::ToJson(std::size_t max_frames) const {
  const std::vector<std::string> stages = Stages();
  ordered_json json;
  json["facts"] = facts_ ? FactTexts(*facts_) : std::vector<std::string>();
  json["notes"] = NotesToJson(max_frames);
  json["has_classifier"] = has_classifier_;
  json["has_things"] =
      std::any_of(results_.frames.begin(), results_.frames.end(),
                  [](const StoredFrame& frame) { return frame.things.has_value(); });
  if (changes_) json["against"] = changes_->ToJson();
  json["labels"] = LabelsToJson();
  json["stages"] = stages;
  json["timing"] = TimingToJson(stages);
  json["frames"] = ordered_json::array();
  for (std::size_t i = 0; i < results_.frames.size(); ++i) {
    json["frames"].push_back(FrameToJson(i, stages));
  }
  return json;
}

// Known ones in their order; others follow, by name.
std::vector<std::string> ReportData::Stages() const {
  std::set<std::string> reported;
  for (const StoredFrame& frame : results_.frames) {
    for (const auto& [stage, time] : frame.timing_ms) reported.insert(stage);
  }
  std::vector<std::string> stages;
  for (const char* stage : kStages) {
    if (reported.erase(stage) != 0) stages.emplace_back(stage);
  }
  stages.insert(stages.end(), reported.begin(), reported.end());
  return stages;
}

// Those of the other run that the page compares with.
std::vector<const StoredFrame*> ReportData::OtherFrames() const {
  std::vector<const StoredFrame*> others;
  for (std::size_t i = 0; changes_ && i < results_.frames.size(); ++i) {
    if (const StoredFrame* other = changes_->OtherOf(i); other != nullptr) others.push_back(other);
  }
  return others;
}

std::set<Kind> ReportData::FindKinds() const {
  std::set<Kind> kinds;
  for (const StoredFrame& frame : results_.frames) {
    for (const Kind& kind : KindsOf(frame, has_classifier_)) kinds.insert(kind);
  }
  for (const StoredFrame* frame : OtherFrames()) {
    for (const Kind& kind : KindsOf(*frame, other_has_classifier_)) kinds.insert(kind);
  }
  return kinds;
}

Labels ReportData::MakeLabels() const {
  std::map<std::int32_t, std::string> names;
  for (const StoredFrame& frame : results_.frames) {
    names.insert(frame.label_names.begin(), frame.label_names.end());
  }
  for (const StoredFrame* frame : OtherFrames()) {
    names.insert(frame->label_names.begin(), frame->label_names.end());
  }
  const bool has_any_classifier = has_classifier_ || other_has_classifier_;
  if (kinds_.count({kFeceLabel, false}) != 0) {
    return {std::move(names), has_any_classifier, std::int64_t{kinds_.rbegin()->label} + 1};
  }
  names.erase(kFeceLabel);  // nothing is called by the network's own name of it
  return {std::move(names), has_any_classifier};
}

ordered_json ReportData::LabelsToJson() const {
  ordered_json json = ordered_json::object();
  for (const Kind& kind : kinds_) {
    const std::int64_t id = labels_.IdOf(kind);
    ordered_json& entry = json[std::to_string(id)];
    entry["name"] = labels_.Text(kind);
    entry["colour"] = ColourText(LabelColour(kind.label, kind.is_confirmed));
    if (id != kind.label) entry["mask"] = kind.label;
  }
  return json;
}

ordered_json ReportData::FrameToJson(std::size_t index,
                                     const std::vector<std::string>& stages) const {
  const StoredFrame& frame = results_.frames[index];
  const auto picture = pictures_.find(index);
  const bool is_chosen = picture != pictures_.end();
  ordered_json json;
  json["source"] = frame.source;
  json["frame"] = frame.frame;
  json["ok"] = frame.success;
  json["message"] = frame.message;
  cv::Size size = ReportedSize(frame);
  if (is_chosen && picture->second.origin != PictureOrigin::kNone) {
    size = picture->second.size;
    json["picture"] = OriginText(picture->second.origin);
  } else if (is_chosen) {
    json["without"] = "its picture could not be read";
  }
  json["size"] = {size.width, size.height};
  AddDetections(frame, ReportedSize(frame), json);
  json["labels"] = IdsToJson(KindsOf(frame, has_classifier_));
  json["times"] = TimesToJson(frame, stages);
  json["candidates"] = CandidatesToJson(frame.candidates);
  if (!frame.non_finite.empty()) json["non_finite"] = frame.non_finite;
  json["masks"] = is_chosen ? MasksToJson(frame) : ordered_json::object();
  if (frame.things && is_chosen) json["thing_masks"] = ThingMasksToJson(frame);
  if (changes_) AddChanges(index, json);
  return json;
}

ordered_json ReportData::IdsToJson(const std::vector<Kind>& kinds) const {
  ordered_json json = ordered_json::array();
  for (const Kind& kind : kinds) json.push_back(labels_.IdOf(kind));
  return json;
}

// What the other run has in the frame, and what of it is different.
void ReportData::AddChanges(std::size_t index, ordered_json& json) const {
  if (const StoredFrame* other = changes_->OtherOf(index); other != nullptr) {
    ordered_json& entry = json["other"];
    AddDetections(*other, ReportedSize(results_.frames[index]), entry);
    entry["labels"] = IdsToJson(KindsOf(*other, other_has_classifier_));
  }
  if (changes_->changed().count(index) != 0) json["change"] = changes_->FrameToJson(index);
}

ordered_json ReportData::MasksToJson(const StoredFrame& frame) const {
  ordered_json json = ordered_json::object();
  for (const auto& [label, mask] : frame.masks) {
    const cv::Mat decoded = DecodeMask(frame, label);  // so that the page can rely on it
    json[std::to_string(label)] = PictureMaskToJson(decoded, mask.run_lengths, frame);
  }
  return json;
}

ordered_json ReportData::ThingMasksToJson(const StoredFrame& frame) const {
  ordered_json json = ordered_json::array();
  for (std::size_t i = 0; i < frame.things->size(); ++i) {
    const cv::Mat decoded = DecodeThing(frame, i);
    json.push_back(PictureMaskToJson(decoded, (*frame.things)[i].run_lengths, frame));
  }
  return json;
}

ordered_json ReportData::TimingToJson(const std::vector<std::string>& stages) const {
  ordered_json json = ordered_json::object();
  for (const std::string& stage : stages) {
    std::vector<double> times;
    std::size_t worst = 0;
    double greatest = -HUGE_VAL;
    for (std::size_t i = 0; i < results_.frames.size(); ++i) {
      const StoredFrame& frame = results_.frames[i];
      const auto time = frame.timing_ms.find(stage);
      if (!frame.success || time == frame.timing_ms.end()) continue;
      times.push_back(time->second);
      if (time->second > greatest) worst = i;
      greatest = std::max(greatest, time->second);
    }
    const Distribution all = Summarise(std::move(times));
    ordered_json& entry = json[stage] = DistributionToJson(all);
    entry["worst_frame"] = worst;
  }
  return json;
}

ordered_json ReportData::NotesToJson(std::size_t max_frames) const {
  ordered_json notes = ordered_json::array();
  AddRunNotes(notes);
  if (changes_) {
    for (const auto& [text, is_warning] : changes_->Notes()) AddNote(text, is_warning, notes);
  }
  AddFailureNotes(notes);
  AddPictureNotes(max_frames, notes);
  return notes;
}

// How far the run came.
void ReportData::AddRunNotes(ordered_json& notes) const {
  const std::vector<StoredFrame>& frames = results_.frames;
  if (frames.empty()) AddNote("The results have no frame.", true, notes);
  if (!facts_) {
    AddNote("summary.json is missing or incomplete: it is not known whether the run finished.",
            false, notes);
  } else if (facts_->interrupted) {
    AddNote(fmt::format("The run was interrupted. This is what it had done by then: {}.",
                        Counted(frames.size(), "frame")),
            true, notes);
  } else if (!facts_->complete && facts_->write_error.empty()) {
    AddNote(fmt::format("The run was killed, or is not at its end yet. This is what it had done by "
                        "then: {}; 'dirty_seg detect --resume' goes on with it.",
                        Counted(frames.size(), "frame")),
            true, notes);
  }
  if (facts_ && !facts_->write_error.empty()) {
    AddNote(fmt::format("The run ended early, or without all its files: {}.", facts_->write_error),
            true, notes);
  }
  if (results_.ends_unfinished) {
    AddNote(
        "The last line of the results ends in the middle, as a run that is killed leaves it. "
        "Its frame is left out.",
        true, notes);
  }
}

// What it did not or not wholly look at.
void ReportData::AddFailureNotes(ordered_json& notes) const {
  const std::vector<StoredFrame>& frames = results_.frames;
  const std::size_t whole = CountWhole();
  if (whole < frames.size()) {
    AddNote(fmt::format("{} of {} failed; they are listed under 'Failed'.",
                        Counted(frames.size() - whole, "frame"), frames.size()),
            true, notes);
  }
  if (facts_ && facts_->failed_inputs > frames.size() - whole) {
    AddNote(
        fmt::format("{} of {} failed. These left nothing in the results{}.",
                    Counted(facts_->failed_inputs, "input"), facts_->inputs, UnreadInputsText()),
        true, notes);
  }
  const auto non_finite = static_cast<std::size_t>(
      std::count_if(frames.begin(), frames.end(),
                    [](const StoredFrame& frame) { return !frame.non_finite.empty(); }));
  if (non_finite > 0) {
    AddNote(fmt::format(
                "In {} of {} the network gave numbers that are not finite. They are left out, so "
                "dirt may be missed there: finding nothing does not mean a clean floor.",
                Counted(non_finite, "frame"), frames.size()),
            true, notes);
  }
}

// What the page does not show.
void ReportData::AddPictureNotes(std::size_t max_frames, ordered_json& notes) const {
  const std::size_t whole = CountWhole();
  if (whole > max_frames) {
    AddNote(
        fmt::format("The page has pictures and masks of {} of {}, {}evenly spread, so that it "
                    "opens quickly; --max-frames sets how many. All numbers are of all frames.",
                    Counted(max_frames, "frame"), whole, changes_ ? "changed ones first, " : ""),
        false, notes);
  }
  if (const std::size_t overlays = CountPictures(PictureOrigin::kOverlay); overlays > 0) {
    AddNote(fmt::format("The source of {} is gone or has changed: the overlay of the results "
                        "is shown instead, whose boxes and masks are burned in and do not "
                        "follow the switches.",
                        Counted(overlays, "picture")),
            true, notes);
  }
  if (const std::size_t missing = CountPictures(PictureOrigin::kNone); missing > 0) {
    AddNote(fmt::format("{} could not be read: neither the source, as the results name it, nor an "
                        "overlay.",
                        Counted(missing, "picture")),
            true, notes);
  }
}

std::size_t ReportData::CountWhole() const {
  return static_cast<std::size_t>(
      std::count_if(results_.frames.begin(), results_.frames.end(),
                    [](const StoredFrame& frame) { return frame.success; }));
}

// Inputs that failed without a failed frame, as far as there is room.
std::string ReportData::UnreadInputsText() const {
  constexpr std::size_t kMaxNamed = 20;
  std::set<std::string> reported;
  for (const StoredFrame& frame : results_.frames) {
    if (!frame.success) reported.insert(frame.source);
  }
  std::vector<std::string> inputs;
  std::size_t count = 0;
  for (const auto& [source, cause] : facts_->failures) {
    if (!reported.insert(source).second || ++count > kMaxNamed) continue;
    inputs.push_back(fmt::format("'{}' ({})", source, cause));
  }
  if (inputs.empty()) return "";
  std::string text = fmt::format(": {}", fmt::join(inputs, "; "));
  if (count <= kMaxNamed) return text;
  return fmt::format("{}; and {} more, in {}", text, count - kMaxNamed, kSummaryFile);
}

std::size_t ReportData::CountPictures(PictureOrigin origin) const {
  return static_cast<std::size_t>(
      std::count_if(pictures_.begin(), pictures_.end(),
                    [origin](const auto& entry) { return entry.second.origin == origin; }));
}

}  // namespace dirty_seg
