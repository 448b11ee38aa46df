// Reads back what `detect` wrote.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <map>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "detector/fece_log.h"
#include "frames/frame_fit.h"
#include "results/detection.h"
#include "results/run_length.h"

namespace dirty_seg {

/// A detection that the classifier was asked about, and its verdict.
struct StoredCandidate {
  /// Index into the frame's detections.
  std::size_t detection = 0;
  /// As VerdictText has it.
  std::string verdict;
  /// Probability of faeces, where it is known.
  std::optional<double> score;
};

inline bool IsConfirmed(const StoredCandidate& candidate) {
  return candidate.verdict == VerdictText(FeceVerdict::kConfirmed);
}

/// A label's mask, still encoded as in the line.
struct StoredMask {
  /// Name of the mask picture beside the results; empty when none was written.
  std::string file;
  std::int64_t pixels = 0;
  RunLengths run_lengths;
};

/// A thing, its mask still encoded as in the line.
struct StoredThing {
  Detection detection;
  /// Nothing if the line does not say.
  std::optional<bool> is_confirmed;
  /// Indices into the frame's detections.
  std::vector<std::size_t> members;
  RunLengths run_lengths;
};

/// One line of results.jsonl.
struct StoredFrame {
  /// Counted from 1, for messages.
  std::size_t line = 0;
  std::string source;
  /// Number of the frame in a video; 0 for a picture.
  std::int64_t frame = 0;
  bool success = true;
  std::string message;
  std::vector<Detection> detections;
  /// Not parallel to `detections` where one had no mask.
  std::vector<float> mask_pixel_counts;
  std::map<int, StoredMask> masks;
  std::map<int, std::string> label_names;
  /// Parallel to `detections`: whether the classifier confirmed it. Empty if the line does not say.
  std::vector<bool> confirmed;
  std::vector<StoredCandidate> candidates;
  /// Whether the line says which they are, if only that there are none.
  bool has_candidates = false;
  /// Nothing in results without them.
  std::optional<std::vector<StoredThing>> things;
  /// Name of an output to how many of its numbers were not finite.
  std::map<std::string, std::int64_t> non_finite;
  /// Milliseconds by stage, as `inference`.
  std::map<std::string, double> timing_ms;
  /// Of the picture; nothing in results without it.
  std::optional<cv::Size> image_size;
  /// Where in the frame the picture lies; nothing in results without it, whose coordinates are
  /// those of the picture.
  std::optional<FrameFit> fit;
  /// Name of the annotated picture beside the results; empty when none was written.
  std::string overlay;
};

/// The detection's box in the picture's own pixels.
std::array<float, 4> BoxInPicture(const Detection& detection, const StoredFrame& frame);

struct Results {
  /// Path of results.jsonl, and of its folder.
  std::string file;
  std::string folder;
  std::vector<StoredFrame> frames;
  /// The last line ends in the middle and is left out: its writer was killed, or is still running.
  bool ends_unfinished = false;
};

/// A file of results, read line by line.
class ResultsFile {
 public:
  /// The results.jsonl of a folder, or a file of such lines under any name. Throws SetupError with
  /// the cause.
  explicit ResultsFile(const std::string& path);

  const std::string& path() const { return path_; }

  /// The frame of the next line; nothing after the last, and where the last ends in the middle.
  /// Throws as ReadResults does.
  std::optional<StoredFrame> Next();

  /// Lines that were read.
  std::size_t line() const { return line_; }

  /// Bytes up to the end of the line that Next gave last.
  std::int64_t offset() const { return offset_; }

  /// As Results::ends_unfinished.
  bool ends_unfinished() const { return ends_unfinished_; }

 private:
  std::string path_;
  std::ifstream stream_;
  std::size_t line_ = 0;
  std::int64_t offset_ = 0;
  bool ends_unfinished_ = false;
};

/// Reads the results.jsonl of a folder, or a file of such lines under any name.
///
/// A line has `source`, and `bboxes`, `scores` and `labels` of one length. Every other key may be
/// missing, as it is in older results; a score of null is not-a-number; unknown keys and empty
/// lines are skipped. Masks are kept as run lengths. A last line that ends in the middle is left
/// out with a warning on standard error. Throws SetupError, naming the file, the line, the key,
/// what was found and what was expected; also for a line that a newer version of the format wrote.
/// Throws InterruptedError.
Results ReadResults(const std::string& path);

/// The mask, 0 or 255. Throws SetupError, naming the file, the line and the key, for invalid run
/// lengths. `label` is one of `frame.masks`.
cv::Mat DecodeMask(const Results& results, const StoredFrame& frame, int label);

/// So of `frame.things`, which has `thing`.
cv::Mat DecodeThing(const Results& results, const StoredFrame& frame, std::size_t thing);

}  // namespace dirty_seg
