#include "decode/mask_painter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/sole_owner.h"
#include "decode/logit_kernels.h"

namespace nuvik::model {
namespace {

using geometry::PatchGeometry;

// The cells that the samples of a box touch.
cv::Rect TouchedCells(const PatchGeometry& geometry, const cv::Rect& box) {
  const auto sample = [](const std::vector<PatchGeometry::Sample>& samples, int i) {
    return samples[static_cast<std::size_t>(i)];
  };
  const int left = sample(geometry.columns(), box.x).first;
  const int top = sample(geometry.rows(), box.y).first;
  const int right = sample(geometry.columns(), box.x + box.width - 1).second;
  const int bottom = sample(geometry.rows(), box.y + box.height - 1).second;
  return {left, top, right - left + 1, bottom - top + 1};
}

// Sets the pixels of `box` to 0.
void Blank(cv::Mat& mask, const cv::Rect& box) {
  for (int y = box.y; y < box.y + box.height; ++y) {
    std::fill_n(mask.ptr<std::uint8_t>(y) + box.x, box.width, std::uint8_t{0});
  }
}

}  // namespace

void MaskPainter::ComputeLogits(const Prototypes& prototypes, const float* coefficients,
                                const cv::Rect& cells) {
  const auto side = static_cast<std::size_t>(prototypes.side);
  const std::size_t first =
      static_cast<std::size_t>(cells.y) * side + static_cast<std::size_t>(cells.x);
  const std::size_t plane = side * side;
  logits_.assign(static_cast<std::size_t>(cells.area()), 0.0F);
  float* row = logits_.data();
  for (int y = 0; y < cells.height; ++y, row += cells.width) {
    const float* prototype = prototypes.data + first + static_cast<std::size_t>(y) * side;
    AddPlanes(prototype, plane, coefficients, prototypes.coefficients, cells.width, row);
    are_logits_finite_ &= LimitLogits(cells.width, row);
  }
}

// Samples one row of cells at the box's columns. Neighbouring pixel rows share their two rows of
// cells, and even rows only ever replace even ones: two buffers are enough.
const float* MaskPainter::StretchRow(int row, const PatchGeometry& geometry, const cv::Rect& box,
                                     const cv::Rect& cells) {
  StretchedRow& stretched = stretched_[static_cast<std::size_t>(row % 2)];
  if (stretched.row == row) return stretched.logits.data();
  stretched.row = row;
  stretched.logits.resize(static_cast<std::size_t>(box.width));
  const float* logits = logits_.data() + static_cast<std::size_t>(row - cells.y) *
                                             static_cast<std::size_t>(cells.width);
  StretchLogits(logits, cells.x, geometry.columns().data() + box.x, box.width,
                stretched.logits.data());
  return stretched.logits.data();
}

void MaskPainter::StartFrame() {
  masks_.resize(used_masks_);
  used_masks_ = 0;
  are_logits_finite_ = true;
}

cv::Mat MaskPainter::TakeBlankMask(const cv::Size& size, const cv::Rect& box) {
  if (used_masks_ == masks_.size()) masks_.emplace_back();
  LentMask& lent = masks_[used_masks_++];
  if (lent.mask.size() == size && IsSoleOwner(lent.mask)) {
    Blank(lent.mask, lent.drawn);
  } else {
    // Built aside: assigning an expression would write into memory that is in use elsewhere.
    lent.mask = cv::Mat(size, CV_8UC1, cv::Scalar(0));
  }
  lent.drawn = box;
  return lent.mask;
}

cv::Mat MaskPainter::Paint(const Prototypes& prototypes, const float* coefficients,
                           const PatchGeometry& geometry, const cv::Rect& box,
                           float logit_threshold) {
  const cv::Rect cells = TouchedCells(geometry, box);
  ComputeLogits(prototypes, coefficients, cells);
  for (StretchedRow& stretched : stretched_) stretched.row = -1;
  cv::Mat mask = TakeBlankMask(geometry.size(), box);
  for (int y = box.y; y < box.y + box.height; ++y) {
    const PatchGeometry::Sample& sample = geometry.rows()[static_cast<std::size_t>(y)];
    const float* upper = StretchRow(sample.first, geometry, box, cells);
    const float* lower = StretchRow(sample.second, geometry, box, cells);
    PaintRow(upper, lower, sample.weight, logit_threshold, box.width,
             mask.ptr<std::uint8_t>(y) + box.x);
  }
  return mask;
}

}  // namespace nuvik::model
