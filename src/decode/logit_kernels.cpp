#include "decode/logit_kernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <opencv2/core/hal/intrin.hpp>

namespace nuvik::model {
namespace {

// Finite beyond all doubt: the difference of two logits inside the limits does not overflow.
constexpr float kLogitLimit = std::numeric_limits<float>::max() / 4.0F;

constexpr int kAtOnce = 4;  // planes: fewer passes over the sums, and few enough to stream

// The bits do not depend on kPlanes.
template <int kPlanes>
inline void AddScaled(const float* values, std::size_t step, const float* coefficients, int count,
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

#if CV_SIMD128
// As far as whole vectors reach; returns the number of pixels done.
inline int PaintRowVectors(const float* upper, const float* lower, float weight, float threshold,
                           int count, std::uint8_t* mask) {
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
  return i;
}
#else
inline int PaintRowVectors(const float*, const float*, float, float, int, std::uint8_t*) {
  return 0;
}
#endif

}  // namespace

void AddPlanes(const float* values, std::size_t step, const float* coefficients, int planes,
               int count, float* sums) {
  int k = 0;
  for (; k + kAtOnce <= planes; k += kAtOnce, values += kAtOnce * step) {
    AddScaled<kAtOnce>(values, step, coefficients + k, count, sums);
  }
  for (; k < planes; ++k, values += step) {
    AddScaled<1>(values, step, coefficients + k, count, sums);
  }
}

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

void StretchLogits(const float* logits, int first_cell,
                   const geometry::PatchGeometry::Sample* samples, int count, float* stretched) {
  for (int i = 0; i < count; ++i) {
    const float left = logits[samples[i].first - first_cell];
    const float right = logits[samples[i].second - first_cell];
    stretched[i] = left + (right - left) * samples[i].weight;
  }
}

void PaintRow(const float* upper, const float* lower, float weight, float threshold, int count,
              std::uint8_t* mask) {
  for (int i = PaintRowVectors(upper, lower, weight, threshold, count, mask); i < count; ++i) {
    const float logit = upper[i] + (lower[i] - upper[i]) * weight;
    mask[i] = logit > threshold ? 255 : 0;
  }
}

}  // namespace nuvik::model
