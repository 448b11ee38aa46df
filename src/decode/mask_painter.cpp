#include "decode/mask_painter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <opencv2/core/hal/intrin.hpp>
#include <stdexcept>
#include <string>

#include "common/held_once.h"

namespace nuvik::model {
namespace {

// Finite beyond all doubt: the difference of two logits inside the limits does not overflow.
constexpr float kLogitLimit = std::numeric_limits<float>::max() / 4.0F;

// The samples of `length` patch pixels along one axis. In double: made once a patch, and then as
// good as exact.
std::vector<PatchGeometry::Sample> MakeSamples(int length, int scaled, int border, int input_side,
                                               int proto_side) {
  std::vector<PatchGeometry::Sample> samples;
  samples.reserve(static_cast<std::size_t>(length));
  for (int p = 0; p < length; ++p) {
    const double network = (p + 0.5) * scaled / length + border;
    const double cell = std::clamp(network * proto_side / input_side - 0.5, 0.0, proto_side - 1.0);
    const int first = static_cast<int>(cell);
    const auto weight = static_cast<float>(cell - first);
    samples.push_back({first, weight > 0.0F ? first + 1 : first, weight});
  }
  return samples;
}

float ToPatch(float network, int border, int length, int scaled) {
  const float patch = (network - static_cast<float>(border)) * static_cast<float>(length) /
                      static_cast<float>(scaled);
  return std::clamp(patch, 0.0F, static_cast<float>(length));
}

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

// Adds to each sum its values of kPlanes planes, `step` apart, times their coefficients: one plane
// after the other, so that the bits do not depend on kPlanes.
template <int kPlanes>
void AddScaled(const float* values, std::size_t step, const float* coefficients, int count,
               float* sums) {
  std::array<float, kPlanes> scales;
  std::copy_n(coefficients, kPlanes, scales.begin());
  for (int i = 0; i < count; ++i) {
    float sum = sums[i];
    for (std::size_t k = 0; k < kPlanes; ++k) {
      sum += scales[k] * values[k * step + static_cast<std::size_t>(i)];
    }
    sums[i] = sum;
  }
}

// Leaves logits whose differences do not overflow, and not-a-number, which no threshold is below,
// for those that are not finite. Returns whether all were finite.
bool LimitLogits(int count, float* logits) {
  int finite = 0;
  for (int i = 0; i < count; ++i) {
    const float logit = logits[i];
    const float limited = std::min(std::max(logit, -kLogitLimit), kLogitLimit);
    const bool is_finite = std::fabs(logit) <= std::numeric_limits<float>::max();
    logits[i] = is_finite ? limited : std::numeric_limits<float>::quiet_NaN();
    finite += static_cast<int>(is_finite);
  }
  return finite == count;
}

// Blends two stretched rows and thresholds.
void PaintRow(const float* upper, const float* lower, float weight, float threshold, int count,
              std::uint8_t* mask) {
  constexpr int kLanes = cv::v_float32x4::nlanes;
  const cv::v_float32x4 weights = cv::v_setall_f32(weight);
  const cv::v_float32x4 thresholds = cv::v_setall_f32(threshold);
  const auto is_above = [&](int first) {
    const cv::v_float32x4 above = cv::v_load(upper + first);
    const cv::v_float32x4 logit = above + (cv::v_load(lower + first) - above) * weights;
    return cv::v_reinterpret_as_u32(logit > thresholds);
  };
  int i = 0;
  for (; i <= count - 4 * kLanes; i += 4 * kLanes) {
    cv::v_store(mask + i, cv::v_pack_b(is_above(i), is_above(i + kLanes), is_above(i + 2 * kLanes),
                                       is_above(i + 3 * kLanes)));
  }
  for (; i < count; ++i) {
    const float logit = upper[i] + (lower[i] - upper[i]) * weight;
    mask[i] = logit > threshold ? 255 : 0;
  }
}

// Sets the pixels of `box` to 0.
void Blank(cv::Mat& mask, const cv::Rect& box) {
  for (int y = box.y; y < box.y + box.height; ++y) {
    std::fill_n(mask.ptr<std::uint8_t>(y) + box.x, box.width, std::uint8_t{0});
  }
}

}  // namespace

PatchGeometry::PatchGeometry(const cv::Size& size, int input_side, int proto_side)
    : size_(size), scaled_(geometry::ScaleLongerSideTo(input_side, size)) {
  if (scaled_.width <= 0 || scaled_.height <= 0) {
    throw std::invalid_argument("a patch of " + std::to_string(size.width) + " x " +
                                std::to_string(size.height) + " scales to " +
                                std::to_string(scaled_.width) + " x " +
                                std::to_string(scaled_.height) + "; expected at least 1 x 1");
  }
  border_ = geometry::BorderToSquare(scaled_);
  columns_ = MakeSamples(size.width, scaled_.width, border_.left_and_right, input_side, proto_side);
  rows_ = MakeSamples(size.height, scaled_.height, border_.top_and_bottom, input_side, proto_side);
}

float PatchGeometry::ToPatchX(float x) const {
  return ToPatch(x, border_.left_and_right, size_.width, scaled_.width);
}

float PatchGeometry::ToPatchY(float y) const {
  return ToPatch(y, border_.top_and_bottom, size_.height, scaled_.height);
}

void MaskPainter::ComputeLogits(const Prototypes& prototypes, const float* coefficients,
                                const cv::Rect& cells) {
  const auto side = static_cast<std::size_t>(prototypes.side);
  const std::size_t first =
      static_cast<std::size_t>(cells.y) * side + static_cast<std::size_t>(cells.x);
  constexpr int kAtOnce = 4;  // planes: fewer passes over the sums, and few enough to stream
  const std::size_t plane = side * side;
  logits_.assign(static_cast<std::size_t>(cells.area()), 0.0F);
  float* row = logits_.data();
  for (int y = 0; y < cells.height; ++y, row += cells.width) {
    const float* prototype = prototypes.data + first + static_cast<std::size_t>(y) * side;
    int k = 0;
    for (; k + kAtOnce <= prototypes.coefficients; k += kAtOnce, prototype += kAtOnce * plane) {
      AddScaled<kAtOnce>(prototype, plane, coefficients + k, cells.width, row);
    }
    for (; k < prototypes.coefficients; ++k, prototype += plane) {
      AddScaled<1>(prototype, plane, coefficients + k, cells.width, row);
    }
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
  const PatchGeometry::Sample* samples = geometry.columns().data() + box.x;
  for (int x = 0; x < box.width; ++x) {
    const float left = logits[samples[x].first - cells.x];
    const float right = logits[samples[x].second - cells.x];
    stretched.logits[static_cast<std::size_t>(x)] = left + (right - left) * samples[x].weight;
  }
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
  if (lent.mask.size() == size && IsHeldOnce(lent.mask)) {
    Blank(lent.mask, lent.drawn);
  } else {
    // Built aside: assigning an expression would write into memory that somebody holds.
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
