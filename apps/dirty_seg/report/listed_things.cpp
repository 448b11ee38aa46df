#include "report/listed_things.h"

#include <algorithm>
#include <utility>

#include "detector/fece_log.h"

namespace dirty_seg {
namespace {

// Whether `a` says more of a thing than `b` does.
bool Decides(const StoredCandidate& a, const StoredCandidate& b) {
  const auto key = [](const StoredCandidate& candidate) {
    return std::pair(candidate.verdict == VerdictText(FeceVerdict::kConfirmed), candidate.score);
  };
  return key(a) > key(b);
}

std::vector<StoredCandidate> DecidingCandidates(const StoredFrame& frame) {
  std::vector<StoredCandidate> deciding;
  for (std::size_t i = 0; i < frame.things->size(); ++i) {
    const std::vector<std::size_t>& members = (*frame.things)[i].members;
    const StoredCandidate* best = nullptr;
    for (const StoredCandidate& candidate : frame.candidates) {
      const bool is_member =
          std::find(members.begin(), members.end(), candidate.detection) != members.end();
      if (is_member && (best == nullptr || Decides(candidate, *best))) best = &candidate;
    }
    if (best != nullptr) deciding.push_back({i, best->verdict, best->score});
  }
  return deciding;
}

void ListThingsOf(StoredFrame& frame) {
  frame.candidates = DecidingCandidates(frame);
  frame.detections.clear();
  frame.confirmed.clear();
  for (const StoredThing& thing : *frame.things) {
    frame.detections.push_back(thing.detection);
    if (thing.is_confirmed) frame.confirmed.push_back(*thing.is_confirmed);
  }
  // Said of all or of none.
  if (frame.confirmed.size() != frame.detections.size()) frame.confirmed.clear();
}

}  // namespace

Results ListThings(Results results) {
  for (StoredFrame& frame : results.frames) {
    if (frame.things) ListThingsOf(frame);
  }
  return results;
}

}  // namespace dirty_seg
