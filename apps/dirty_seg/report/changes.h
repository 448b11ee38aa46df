// What changed in a run against another one over the same frames.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "compare/results_comparison.h"
#include "report/run_facts.h"
#include "results/results_reader.h"

namespace dirty_seg {

/// A run that a page compares its own with.
struct OtherRun {
  std::string name;  // as it was given
  /// Its things are listed as detections (listed_things.h).
  Results results;
  std::optional<RunFacts> facts;
};

/// The results of both runs, A the page's own.
class Changes {
 public:
  /// Both outlive this object. Throws SetupError where they have no frame in common, and as
  /// CompareResults does.
  Changes(const Results& results, const OtherRun& other);

  /// The page's frames that differ from the other run's (IsChanged in compare/difference.h), or
  /// that only this run has.
  const std::set<std::size_t>& changed() const { return changed_; }

  /// The other run's frame; null where it has none.
  const StoredFrame* OtherOf(std::size_t index) const { return pairs_[index].b; }

  /// What differs in a changed frame: indices of detections, or pairs of them, each with how far.
  nlohmann::ordered_json FrameToJson(std::size_t index) const;

  /// How many frames there are of each sort.
  nlohmann::ordered_json ToJson() const;

  /// Texts for the page, and whether each is a warning.
  std::vector<std::pair<std::string, bool>> Notes() const;

 private:
  std::string OutcomeText() const;
  std::string OnlyThereText() const;
  bool MixesThings() const;

  const Results& results_;
  const OtherRun& other_;
  ResultsComparison comparison_;
  std::vector<ComparedFrame> pairs_;  // of each of the page's frames
  std::set<std::size_t> changed_;
};

}  // namespace dirty_seg
