#include "engine/candidates.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace nuvik::model {
namespace {

constexpr int kFirstScore = 4;

// The best score of each of `count` anchors from `first` on, not-a-number counting as none. Class
// planes are read in runs that stay in the nearest cache.
void BestScores(const Predictions& predictions, int first, int count, float* best) {
  std::fill_n(best, count, -std::numeric_limits<float>::infinity());
  for (int c = 0; c < predictions.classes; ++c) {
    const float* scores = predictions.data +
                          static_cast<std::size_t>(kFirstScore + c) * predictions.channel_step +
                          static_cast<std::size_t>(first) * predictions.anchor_step;
    if (predictions.anchor_step == 1) {
      for (int i = 0; i < count; ++i) best[i] = scores[i] > best[i] ? scores[i] : best[i];
    } else {
      for (int i = 0; i < count; ++i) {
        const float score = scores[static_cast<std::size_t>(i) * predictions.anchor_step];
        best[i] = score > best[i] ? score : best[i];
      }
    }
  }
}

bool AreCoefficientsFinite(const Predictions& predictions, int anchor) {
  const int first = kFirstScore + predictions.classes;
  for (int k = 0; k < predictions.coefficients; ++k) {
    if (!std::isfinite(predictions.at(first + k, anchor))) return false;
  }
  return true;
}

// Sets label and score to the best finite ones.
void SetClass(const Predictions& predictions, Candidate& candidate) {
  candidate.score = -std::numeric_limits<float>::infinity();
  for (int c = 0; c < predictions.classes; ++c) {
    const float score = predictions.at(kFirstScore + c, candidate.anchor);
    if (!std::isfinite(score) || !(score > candidate.score)) continue;
    candidate.score = score;
    candidate.label = c;
  }
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

}  // namespace

void FindCandidates(const Predictions& predictions, float threshold,
                    std::vector<Candidate>& candidates) {
  std::array<float, 256> best{};
  constexpr int kRun = static_cast<int>(best.size());
  for (int first = 0; first < predictions.anchors; first += kRun) {
    const int count = std::min(kRun, predictions.anchors - first);
    BestScores(predictions, first, count, best.data());
    for (int i = 0; i < count; ++i) {
      if (!(best[static_cast<std::size_t>(i)] > threshold)) continue;
      Candidate candidate{};
      candidate.anchor = first + i;
      SetClass(predictions, candidate);
      SetBox(predictions, candidate);
      if (candidate.score > threshold && IsBoxFinite(candidate) &&
          AreCoefficientsFinite(predictions, candidate.anchor)) {
        candidates.push_back(candidate);
      }
    }
  }
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
