// The classifier's verdict on each candidate, read from the detector library's log.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "detector/frame_log.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector::DirtyStatusResultData;

enum class FeceVerdict {
  kConfirmed,
  kRejected,
  kNotChecked,  // the box has too few pixels
  kFailed,      // the classifier could not be asked, or gave no answer that is a number
};

/// "confirmed", "rejected", "not_checked" or "failed".
const char* VerdictText(FeceVerdict verdict);

/// The verdict of that text; nothing for any other.
std::optional<FeceVerdict> VerdictOf(const std::string& text);

/// "confirmed, rejected, not_checked or failed".
std::string VerdictTexts();

/// A detection that is a candidate for the classifier.
struct FeceCandidate {
  /// Index of the detection in the result.
  std::size_t detection = 0;
  FeceVerdict verdict = FeceVerdict::kFailed;
  /// Probability of class 1; nothing if there is no answer.
  std::optional<float> score;
};

inline bool IsConfirmed(const FeceCandidate& candidate) {
  return candidate.verdict == FeceVerdict::kConfirmed;
}

/// The rules by which the detector chooses and judges candidates.
struct FeceRules {
  std::vector<int> class_ids;
  float score_threshold = 0.0F;
  float area_threshold = 0.0F;
};

/// How many of the classifier's answers were not a number; the detector takes these as negative.
std::size_t CountNotANumberAnswers(const FrameLog& log);

/// The candidates among the detections of `result`, in their order. `picture_size` is that of the
/// frame's picture.
///
/// The log names the pixels of each candidate but not its detection, and the result has lost the
/// class of those that were confirmed. So detections and log are read side by side: of one that is
/// now label 19, the next line says whether it was a candidate. Only when the network has a class
/// 19 of its own, and one of those touches the very pixels of a confirmed candidate, the two cannot
/// be distinguished, and the first is taken.
///
/// Nothing if log and detections do not match.
std::optional<std::vector<FeceCandidate>> ReadFeceCandidates(const FrameLog& log,
                                                             const FeceRules& rules,
                                                             const cv::Size& picture_size,
                                                             const DirtyStatusResultData& result);

}  // namespace dirty_seg
