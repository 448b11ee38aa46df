#include "decode/candidates.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "decode/candidate_kernels.h"

namespace nuvik::model {
namespace {

constexpr int kFirstScore = 4;

// A bit for each anchor.
struct Marks {
  std::vector<std::uint64_t> words;
  bool are_scores_finite = true;
};

// Marks the anchors with a score greater than its class's threshold. Reads each class plane once,
// from its first score to its last, and looks closer only in runs with such a score.
Marks MarkAnchors(const Predictions& predictions, const std::vector<float>& thresholds) {
  const int anchors = predictions.anchors;
  Marks marks;
  marks.words.resize(static_cast<std::size_t>((anchors + kScoresInWord - 1) / kScoresInWord));
  for (int c = 0; c < predictions.classes; ++c) {
    const float* scores = &predictions.at(kFirstScore + c, 0);
    const float threshold = thresholds[static_cast<std::size_t>(c)];
    for (int run = NextRunAbove(scores, 0, anchors, threshold); run < anchors;
         run = NextRunAbove(scores, run + kScoresInRun, anchors, threshold)) {
      const int count = std::min(kScoresInRun, anchors - run);
      marks.are_scores_finite &=
          MarkAbove(scores + run, count, threshold,
                    &marks.words[static_cast<std::size_t>(run / kScoresInWord)]);
    }
  }
  return marks;
}

bool AreCoefficientsFinite(const Predictions& predictions, int anchor) {
  const int first = kFirstScore + predictions.classes;
  for (int k = 0; k < predictions.coefficients; ++k) {
    if (!std::isfinite(predictions.at(first + k, anchor))) return false;
  }
  return true;
}

// Sets label and score to the best finite ones. Returns whether all are finite.
bool SetClass(const Predictions& predictions, Candidate& candidate) {
  bool are_finite = true;
  candidate.score = -std::numeric_limits<float>::infinity();
  for (int c = 0; c < predictions.classes; ++c) {
    const float score = predictions.at(kFirstScore + c, candidate.anchor);
    are_finite = are_finite && std::isfinite(score);
    if (!std::isfinite(score) || !(score > candidate.score)) continue;
    candidate.score = score;
    candidate.label = c;
  }
  return are_finite;
}

void SetBox(const Predictions& predictions, Candidate& candidate) {
  const float x = predictions.at(0, candidate.anchor);
  const float y = predictions.at(1, candidate.anchor);
  const float half_width = predictions.at(2, candidate.anchor) * 0.5F;
  const float half_height = predictions.at(3, candidate.anchor) * 0.5F;
  candidate.x1 = x - half_width;
  candidate.y1 = y - half_height;
  candidate.x2 = x + half_width;
  candidate.y2 = y + half_height;
}

bool IsBoxFinite(const Candidate& box) {
  return std::isfinite(box.x1) && std::isfinite(box.y1) && std::isfinite(box.x2) &&
         std::isfinite(box.y2);
}

double Area(const Candidate& box) {
  return (static_cast<double>(box.x2) - box.x1) * (static_cast<double>(box.y2) - box.y1);
}

// In double, where no area of finite boxes overflows or vanishes; multiplied out, so that nothing
// is divided.
bool Overlaps(const Candidate& a, const Candidate& b, float iou_threshold) {
  const double width = static_cast<double>(std::min(a.x2, b.x2)) - std::max(a.x1, b.x1);
  const double height = static_cast<double>(std::min(a.y2, b.y2)) - std::max(a.y1, b.y1);
  if (!(width > 0.0) || !(height > 0.0)) return false;
  const double intersection = width * height;
  return intersection > iou_threshold * (Area(a) + Area(b) - intersection);
}

// Appends the anchor's best detection, unless one of its numbers forbids it. Returns whether all
// that were looked at are finite.
bool AddIfSound(const Predictions& predictions, int anchor, const std::vector<float>& thresholds,
                std::vector<Candidate>& candidates) {
  Candidate candidate{};
  candidate.anchor = anchor;
  const bool are_scores_finite = SetClass(predictions, candidate);
  const float threshold = thresholds[static_cast<std::size_t>(candidate.label)];
  if (!(candidate.score > threshold)) return are_scores_finite;
  SetBox(predictions, candidate);
  if (!IsBoxFinite(candidate) || !AreCoefficientsFinite(predictions, anchor)) return false;
  candidates.push_back(candidate);
  return are_scores_finite;
}

}  // namespace

bool FindCandidates(const Predictions& predictions, const std::vector<float>& thresholds,
                    std::vector<Candidate>& candidates) {
  bool are_finite = true;
  if (predictions.anchor_step != 1) {
    const float least = *std::min_element(thresholds.begin(), thresholds.end());
    for (int anchor = 0; anchor < predictions.anchors; ++anchor) {
      const float* scores = &predictions.at(kFirstScore, anchor);
      if (AreAtMost(scores, predictions.classes, least)) continue;
      are_finite &= AddIfSound(predictions, anchor, thresholds, candidates);
    }
    return are_finite;
  }
  const Marks marks = MarkAnchors(predictions, thresholds);
  are_finite = marks.are_scores_finite;
  for (std::size_t word = 0; word < marks.words.size(); ++word) {
    int anchor = static_cast<int>(word) * kScoresInWord;
    for (std::uint64_t rest = marks.words[word]; rest != 0; rest >>= 1, ++anchor) {
      if ((rest & 1) == 0) continue;
      are_finite &= AddIfSound(predictions, anchor, thresholds, candidates);
    }
  }
  return are_finite;
}

void Suppress(float iou_threshold, bool class_agnostic, std::size_t limit,
              std::vector<Candidate>& candidates) {
  std::sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return a.score != b.score ? a.score > b.score : a.anchor < b.anchor;
  });
  std::size_t kept = 0;
  for (std::size_t i = 0; i < candidates.size() && kept < limit; ++i) {
    const Candidate candidate = candidates[i];
    const auto is_worse_than = [&](const Candidate& better) {
      return (class_agnostic || better.label == candidate.label) &&
             Overlaps(better, candidate, iou_threshold);
    };
    const auto end = candidates.begin() + static_cast<std::ptrdiff_t>(kept);
    if (std::none_of(candidates.begin(), end, is_worse_than)) candidates[kept++] = candidate;
  }
  candidates.resize(kept);
}

}  // namespace nuvik::model
