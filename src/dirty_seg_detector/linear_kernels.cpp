#include "dirty_seg_detector/linear_kernels.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core/hal/intrin.hpp>
#include <utility>

namespace nuvik::perception::dirty_seg_detector {
namespace {

constexpr std::size_t kPixel = 3;
constexpr int kOne = 2048;  // the weight of a whole pixel

// Rounds half to even, as cv::saturate_cast does.
int InParts(float weight) { return static_cast<int>(std::lrint(weight * kOne)); }

// The taps with `first` as it comes out, which may lie one before the first source pixel.
void UnclampedTaps(int source, int target, std::vector<LinearTap>& taps) {
  taps.resize(static_cast<std::size_t>(target));
  const double step = 1.0 / (static_cast<double>(target) / source);
  for (int i = 0; i < target; ++i) {
    const auto centre = static_cast<float>((i + 0.5) * step - 0.5);
    const float below = std::floor(centre);
    const float weight = centre - below;
    const int first = static_cast<int>(below);
    taps[static_cast<std::size_t>(i)] = {first, first + 1, InParts(1.0F - weight), InParts(weight)};
  }
}

// One source row at the target's columns, in 2048ths.
void BlendColumns(const std::uint8_t* row, const std::vector<LinearTap>& columns, int* blended) {
  for (const LinearTap& tap : columns) {
    const std::uint8_t* first = row + kPixel * static_cast<std::size_t>(tap.first);
    const std::uint8_t* second = row + kPixel * static_cast<std::size_t>(tap.second);
    for (std::size_t c = 0; c < kPixel; ++c) {
      *blended++ = first[c] * tap.first_weight + second[c] * tap.second_weight;
    }
  }
}

#if CV_SIMD128
inline cv::v_int16x8 LoadSixteenths(const int* blended) {
  return cv::v_pack(cv::v_load(blended) >> 4, cv::v_load(blended + 4) >> 4);
}

// As far as whole vectors reach; returns the number of bytes done.
inline std::size_t BlendRowVectors(const int* upper, const int* lower, const LinearTap& tap,
                                   std::size_t count, std::uint8_t* target) {
  constexpr std::size_t kStep = cv::v_int16x8::nlanes;
  const cv::v_int16x8 first_weight = cv::v_setall_s16(static_cast<std::int16_t>(tap.first_weight));
  const cv::v_int16x8 second_weight =
      cv::v_setall_s16(static_cast<std::int16_t>(tap.second_weight));
  std::size_t x = 0;
  for (; x + kStep <= count; x += kStep) {
    const cv::v_int16x8 sum = cv::v_mul_hi(LoadSixteenths(upper + x), first_weight) +
                              cv::v_mul_hi(LoadSixteenths(lower + x), second_weight);
    cv::v_rshr_pack_u_store<2>(target + x, sum);
  }
  return x;
}
#else
inline std::size_t BlendRowVectors(const int*, const int*, const LinearTap&, std::size_t,
                                   std::uint8_t*) {
  return 0;
}
#endif

// Two blended rows into one of the target. The shifts round where OpenCV's do.
void BlendRows(const int* upper, const int* lower, const LinearTap& tap, std::size_t count,
               std::uint8_t* target) {
  for (std::size_t x = BlendRowVectors(upper, lower, tap, count, target); x < count; ++x) {
    const int sum = (((upper[x] >> 4) * tap.first_weight) >> 16) +
                    (((lower[x] >> 4) * tap.second_weight) >> 16);
    target[x] = static_cast<std::uint8_t>((sum + 2) >> 2);
  }
}

}  // namespace

void LinearColumns(int source, int target, std::vector<LinearTap>& taps) {
  UnclampedTaps(source, target, taps);
  for (LinearTap& tap : taps) {
    if (tap.first < 0) tap = {0, 0, kOne, 0};
    if (tap.second >= source) tap = {source - 1, source - 1, kOne, 0};
  }
}

void LinearRows(int source, int target, std::vector<LinearTap>& taps) {
  UnclampedTaps(source, target, taps);
  for (LinearTap& tap : taps) {
    tap.first = std::clamp(tap.first, 0, source - 1);
    tap.second = std::clamp(tap.second, 0, source - 1);
  }
}

void BlendPixels(const std::uint8_t* source, std::size_t source_step,
                 const std::vector<LinearTap>& columns, const std::vector<LinearTap>& rows,
                 int* scratch, std::uint8_t* target, std::size_t target_step) {
  const std::size_t count = kPixel * columns.size();
  int* upper = scratch;
  int* lower = scratch + count;
  int upper_row = -1;
  int lower_row = -1;
  for (const LinearTap& tap : rows) {
    if (tap.first == lower_row) {
      std::swap(upper, lower);
      std::swap(upper_row, lower_row);
    }
    if (tap.first != std::exchange(upper_row, tap.first)) {
      BlendColumns(source + static_cast<std::size_t>(tap.first) * source_step, columns, upper);
    }
    if (tap.second != std::exchange(lower_row, tap.second)) {
      BlendColumns(source + static_cast<std::size_t>(tap.second) * source_step, columns, lower);
    }
    BlendRows(upper, lower, tap, count, target);
    target += target_step;
  }
}

}  // namespace nuvik::perception::dirty_seg_detector
