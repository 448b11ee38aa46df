// Finding the anchors that hold a detection, and choosing among overlapping ones.
#pragma once

#include <cstddef>
#include <vector>

namespace nuvik::model {

/// Predictions of one batch slot: element (channel, anchor) is at
/// `data[channel * channel_step + anchor * anchor_step]`; one of the steps is 1.
struct Predictions {
  const float* data;
  int classes;
  int coefficients;
  int anchors;
  std::size_t channel_step;
  std::size_t anchor_step;

  const float& at(int channel, int anchor) const {
    return data[static_cast<std::size_t>(channel) * channel_step +
                static_cast<std::size_t>(anchor) * anchor_step];
  }
};

/// One anchor's detection. Corners in network pixels, not clipped.
struct Candidate {
  float x1;
  float y1;
  float x2;
  float y2;
  float score;
  int label;
  int anchor;
};

/// Appends the anchors whose best class score is greater than the threshold of that class, in
/// anchor order. Another class never takes its place, even one that is above a lower threshold of
/// its own. `thresholds` has one for each class; infinity leaves a class out. The lowest class wins
/// a tie. A score that is not finite counts as none; an anchor whose box or coefficients are not
/// finite is left out. Returns whether all that it looked at is finite: the scores (minus infinity
/// may pass, as any low one, and infinity in a class that is left out), and the boxes and
/// coefficients of anchors whose best score is above its threshold.
bool FindCandidates(const Predictions& predictions, const std::vector<float>& thresholds,
                    std::vector<Candidate>& candidates);

/// Sorts by score, best first and equal scores in anchor order, and keeps at most `limit` of those
/// that overlap no better kept one of their class (of any class when `class_agnostic`) by an
/// intersection over union greater than `iou_threshold`. Takes at most limit comparisons a
/// candidate.
void Suppress(float iou_threshold, bool class_agnostic, std::size_t limit,
              std::vector<Candidate>& candidates);

}  // namespace nuvik::model
