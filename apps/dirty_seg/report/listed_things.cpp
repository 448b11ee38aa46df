#include "report/listed_things.h"

#include "things/deciding_candidate.h"

namespace dirty_seg {
namespace {

std::vector<StoredCandidate> DecidingCandidates(const StoredFrame& frame) {
  std::vector<StoredCandidate> deciding;
  for (std::size_t i = 0; i < frame.things->size(); ++i) {
    const auto* best = FindDecidingCandidate(frame.candidates, (*frame.things)[i].members);
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
