// One line of results.jsonl, read back.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
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
  /// Of the file it is from, counted from 1; for messages.
  std::string file;
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

/// Reads the line `text`, which messages call line `line` of `file`.
///
/// It has `source`, and `bboxes`, `scores` and `labels` of one length. Every other key may be
/// missing, as it is in older results; a score of null is not-a-number; unknown keys are skipped.
/// Masks are kept as run lengths. Throws SetupError, naming the file, the line, the key, what was
/// found and what was expected; also for a line that a newer version of the format wrote.
StoredFrame ReadStoredFrame(const std::string& text, const std::string& file, std::size_t line);

/// "'FILE' line 3: ", as messages about a line begin.
std::string LinePlace(const std::string& file, std::size_t line);

/// The mask, 0 or 255. Throws SetupError, naming the file, the line and the key, for invalid run
/// lengths. `label` is one of `frame.masks`.
cv::Mat DecodeMask(const StoredFrame& frame, int label);

/// So of `frame.things`, which has `thing`.
cv::Mat DecodeThing(const StoredFrame& frame, std::size_t thing);

}  // namespace dirty_seg
