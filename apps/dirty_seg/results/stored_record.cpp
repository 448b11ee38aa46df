#include "results/stored_record.h"

#include "base/errors.h"
#include "base/mask_bounds.h"
#include "results/stages.h"

namespace dirty_seg {
namespace {

std::vector<FeceCandidate> CandidatesOf(const StoredFrame& frame) {
  std::vector<FeceCandidate> candidates;
  for (const StoredCandidate& stored : frame.candidates) {
    FeceCandidate& candidate = candidates.emplace_back();
    candidate.detection = stored.detection;
    candidate.verdict = VerdictOf(stored.verdict).value();
    if (stored.score) candidate.score = static_cast<float>(*stored.score);
  }
  return candidates;
}

std::vector<Thing> ThingsOf(const std::vector<StoredThing>& stored) {
  std::vector<Thing> things;
  for (const StoredThing& entry : stored) {
    Thing& thing = things.emplace_back();
    thing.box = entry.detection.box;
    thing.score = entry.detection.score;
    thing.kind = {entry.detection.label, entry.is_confirmed.value_or(false)};
    thing.members = entry.members;
  }
  return things;
}

DirtyStatusResultData ResultOf(const StoredFrame& frame) {
  DirtyStatusResultData result;
  result.success = frame.success;
  result.message = frame.message;
  for (const Detection& detection : frame.detections) {
    result.bboxes.emplace_back(detection.box.begin(), detection.box.end());
    result.scores.push_back(detection.score);
    result.labels.push_back(detection.label);
  }
  result.mask_pixel_counts = frame.mask_pixel_counts;
  return result;
}

StageTimes StagesOf(const StoredFrame& frame) {
  const auto time = [&frame](const char* stage) {
    const auto entry = frame.timing_ms.find(stage);
    return entry == frame.timing_ms.end() ? std::nullopt : std::optional(entry->second);
  };
  return {time(kInferenceStage), time(kPostprocessStage), time(kClassifyStage),
          time(kConvertStage)};
}

double TimeOf(const StoredFrame& frame, const char* stage) {
  const auto entry = frame.timing_ms.find(stage);
  return entry == frame.timing_ms.end() ? 0.0 : entry->second;
}

}  // namespace

FrameRecord RecordOf(const StoredFrame& frame) {
  if (!frame.fit) {
    throw SetupError(LinePlace(frame.file, frame.line) + "fit is missing");
  }
  FrameRecord record;
  record.source = frame.source;
  record.frame = frame.frame;
  record.fit = *frame.fit;
  record.outcome.result = ResultOf(frame);
  record.outcome.stages = StagesOf(frame);
  record.outcome.total_ms = TimeOf(frame, kTotalStage);
  record.outcome.non_finite = frame.non_finite;
  if (frame.has_candidates) record.outcome.fece_candidates = CandidatesOf(frame);
  if (frame.things) record.things = ThingsOf(*frame.things);
  record.read_ms = TimeOf(frame, kReadStage);
  record.write_ms = TimeOf(frame, kWriteStage);
  return record;
}

void AddMasks(const StoredFrame& frame, FrameRecord& record) {
  for (const auto& [label, mask] : frame.masks) {
    record.outcome.result.label_masks[label] = DecodeMask(frame, label);
  }
  if (!record.things) return;
  for (std::size_t i = 0; i < record.things->size(); ++i) {
    Thing& thing = record.things->at(i);
    const cv::Mat whole = DecodeThing(frame, i);
    thing.area = MaskBounds(whole);
    thing.mask = whole(thing.area).clone();
  }
}

}  // namespace dirty_seg
