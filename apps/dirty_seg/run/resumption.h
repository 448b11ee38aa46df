// What an interrupted run left in its folder, for a run that goes on with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "results/results_reader.h"
#include "results/summary.h"

namespace dirty_seg {

/// What is there of one input.
struct EarlierInput {
  std::string source;
  /// What the names of its files begin with; empty if it has none.
  std::string name;
  std::size_t frames = 0;
  /// Number of the frame after the last that is there.
  std::int64_t next_frame = 0;
  /// Whether nothing of it is left to do.
  bool is_whole = true;
  std::vector<Failure> failures;
};

/// What is there of all inputs.
struct EarlierResults {
  /// In the order of results.jsonl.
  std::vector<EarlierInput> inputs;
  std::size_t frames = 0;
  /// The frames of the last input, if it is a video that is not whole; only if they are wanted.
  std::map<std::int64_t, StoredFrame> last_video;
  /// Bytes of results.jsonl that hold all of these.
  std::int64_t bytes = 0;
};

/// A folder of results, as its summary.json describes it.
class Resumption {
 public:
  /// `now` is the run that goes on. Throws SetupError where the folder's run had another network,
  /// configuration or option that changes results, naming the first, and where it cannot be told.
  Resumption(const std::string& folder, const RunDescription& now);

  /// Gives each frame to `take`, in order, with its input. The last frame is left out, as some of
  /// its files may be missing, unless the run was complete; a last line that ends in the middle is
  /// left out instead. So is everything from the first frame on that lacks a file. Throws
  /// SetupError as ReadResults does.
  EarlierResults Read(
      bool keeps_last_video,
      const std::function<void(const StoredFrame& frame, EarlierInput& input)>& take) const;

 private:
  void FinishLast(EarlierResults& earlier) const;
  bool HasItsFiles(const StoredFrame& frame) const;
  void AddFailuresOf(EarlierInput& input) const;

  std::string folder_;
  bool is_complete_ = false;
  std::map<std::string, std::vector<Failure>> failures_;  // by source
};

}  // namespace dirty_seg
