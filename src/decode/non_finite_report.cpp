#include "decode/non_finite_report.h"

#include <map>
#include <utility>

#include "common/diagnostics.h"
#include "engine/non_finite.h"
#include "network/join.h"

namespace nuvik::model {
namespace {

// A detector, and so its post-processor, works on its caller's thread.
std::map<std::string, std::int64_t>& LatestCounts() {
  thread_local std::map<std::string, std::int64_t> counts;
  return counts;
}

}  // namespace

std::map<std::string, std::int64_t> TakeNonFiniteCounts() {
  return std::exchange(LatestCounts(), {});
}

void SetNonFiniteCounts(const std::vector<NonFiniteCount>& counts) {
  LatestCounts().clear();
  for (const NonFiniteCount& entry : counts) {
    LatestCounts()[entry.output] = static_cast<std::int64_t>(entry.count);
  }
}

void NonFiniteReport::Print(const std::vector<NonFiniteCount>& counts) {
  if (++frames_ != next_reported_) return;
  next_reported_ *= 10;
  std::vector<std::string> texts;
  texts.reserve(counts.size());
  for (const NonFiniteCount& entry : counts) {
    texts.push_back("output '" + entry.output + "' has " + std::to_string(entry.count) + " of " +
                    std::to_string(entry.total) + " numbers that are not finite");
  }
  PrintError(Join(texts) + ": they are left out of the results, so dirt may be missed (frame " +
             std::to_string(frames_) + " of this kind; reported again at " +
             std::to_string(next_reported_) + ")");
}

}  // namespace nuvik::model
