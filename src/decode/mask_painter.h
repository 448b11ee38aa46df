// From prototypes and coefficients to a patch's mask.
#pragma once

#include <array>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "geometry/patch_geometry.h"

namespace nuvik::model {

/// Draws the masks of one batch slot. Working memory and masks are kept between frames: new pages
/// for a mask of 640 x 640 cost several times what drawing it does.
class MaskPainter {
 public:
  /// Makes the masks of the last frame available again, unless they are in use elsewhere, and gives
  /// back what the last frame did not use.
  void StartFrame();

  /// `prototypes` is [coefficients, proto_side, proto_side], contiguous.
  struct Prototypes {
    const float* data;
    int coefficients;
    int side;
  };

  /// Returns a mask as large as the patch: 255 where the logit, coefficients times prototypes, is
  /// greater than `logit_threshold` inside `box`, else 0. The mask is not touched while
  /// it is in use elsewhere; it is blanked for its next use where it was drawn here, so no one else
  /// may draw into it. `box` is in whole patch pixels, inside
  /// the patch and not empty. A prototype cell whose logit is not finite is background.
  cv::Mat Paint(const Prototypes& prototypes, const float* coefficients,
                const geometry::PatchGeometry& geometry, const cv::Rect& box,
                float logit_threshold);

  /// Whether every prototype cell that this frame's masks touch has a finite logit.
  bool are_logits_finite() const { return are_logits_finite_; }

 private:
  void ComputeLogits(const Prototypes& prototypes, const float* coefficients,
                     const cv::Rect& cells);
  const float* StretchRow(int row, const geometry::PatchGeometry& geometry, const cv::Rect& box,
                          const cv::Rect& cells);

  /// A mask that will be drawn inside `box` only, blank so far.
  cv::Mat TakeBlankMask(const cv::Size& size, const cv::Rect& box);

  struct LentMask {
    cv::Mat mask;
    cv::Rect drawn;
  };

  struct StretchedRow {
    int row = -1;
    std::vector<float> logits;
  };

  std::vector<LentMask> masks_;
  std::size_t used_masks_ = 0;
  bool are_logits_finite_ = true;
  std::vector<float> logits_;
  std::array<StretchedRow, 2> stretched_;
};

}  // namespace nuvik::model
