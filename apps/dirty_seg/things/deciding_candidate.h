// Which of its candidates says what the classifier makes of a thing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace dirty_seg {

/// Of the candidates whose detections are among `members`, the one that decides: a confirmed one
/// first, then the highest score, then the first of them. Null if there is none. `Candidate` has a
/// `detection`, a `score` and an IsConfirmed.
template <typename Candidate>
const Candidate* FindDecidingCandidate(const std::vector<Candidate>& candidates,
                                       const std::vector<std::size_t>& members) {
  const auto key = [](const Candidate& candidate) {
    return std::pair(IsConfirmed(candidate), candidate.score);
  };
  const Candidate* deciding = nullptr;
  for (const Candidate& candidate : candidates) {
    const bool is_member =
        std::find(members.begin(), members.end(), candidate.detection) != members.end();
    if (is_member && (deciding == nullptr || key(candidate) > key(*deciding))) {
      deciding = &candidate;
    }
  }
  return deciding;
}

}  // namespace dirty_seg
