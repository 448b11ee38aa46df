// From prototypes and coefficients to a patch's mask.
#pragma once

#include <array>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "geometry/letterbox.h"

namespace nuvik::model {

/// Where the pixels of a patch lie in the network's square. Along each axis a patch coordinate p is
/// at p * scaled / length + border network pixels.
class PatchGeometry {
 public:
  /// `size` is the patch as it was cut, `input_side` and `proto_side` the sides of the network's
  /// input and of its prototypes. Throws std::invalid_argument when the patch scales to nothing.
  PatchGeometry(const cv::Size& size, int input_side, int proto_side);

  /// Two neighbouring prototype cells, or twice the same, and the weight of the second: bilinear
  /// sampling at a pixel's centre, cell centres at halves, the outermost cells continued.
  struct Sample {
    int first;
    int second;
    float weight;
  };

  const cv::Size& size() const { return size_; }
  const std::vector<Sample>& columns() const { return columns_; }
  const std::vector<Sample>& rows() const { return rows_; }

  /// A network coordinate in patch pixels, clipped to the patch.
  float ToPatchX(float x) const;
  float ToPatchY(float y) const;

 private:
  cv::Size size_;
  cv::Size scaled_;
  geometry::SquareBorder border_;
  std::vector<Sample> columns_;
  std::vector<Sample> rows_;
};

/// Draws the masks of one batch slot. Working memory and masks are kept between frames: new pages
/// for a mask of 640 x 640 cost several times what drawing it does.
class MaskPainter {
 public:
  /// Makes the masks of the last frame available again, as far as nobody else holds them, and gives
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
  /// anybody holds it; it is blanked for its next use where it was drawn here, so nobody else may
  /// draw into it. `box` is in whole patch pixels, inside
  /// the patch and not empty. A prototype cell whose logit is not finite is background.
  cv::Mat Paint(const Prototypes& prototypes, const float* coefficients,
                const PatchGeometry& geometry, const cv::Rect& box, float logit_threshold);

  /// Whether every prototype cell that this frame's masks touch has a finite logit.
  bool are_logits_finite() const { return are_logits_finite_; }

 private:
  void ComputeLogits(const Prototypes& prototypes, const float* coefficients,
                     const cv::Rect& cells);
  const float* StretchRow(int row, const PatchGeometry& geometry, const cv::Rect& box,
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
