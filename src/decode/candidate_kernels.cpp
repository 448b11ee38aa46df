#include "decode/candidate_kernels.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core/hal/intrin.hpp>

namespace nuvik::model {
namespace {

#if CV_SIMD128
constexpr int kLanes = cv::v_float32x4::nlanes;
constexpr int kStep = 4 * kLanes;

inline cv::v_float32x4 AllTrue() { return cv::v_setzero_f32() == cv::v_setzero_f32(); }

// Which of kStep numbers are at most their limits, four to a lane.
inline cv::v_float32x4 AtMost(const float* numbers, const cv::v_float32x4& limits) {
  const auto is_at_most = [&](int first) { return cv::v_load(numbers + first) <= limits; };
  return (is_at_most(0) & is_at_most(kLanes)) & (is_at_most(2 * kLanes) & is_at_most(3 * kLanes));
}

// Whether the numbers are at most `limit`, as far as whole steps reach; `done` counts those.
inline bool AreStepsAtMost(const float* numbers, int count, float limit, int& done) {
  const cv::v_float32x4 limits = cv::v_setall_f32(limit);
  cv::v_float32x4 all = AllTrue();
  for (done = 0; done <= count - kStep; done += kStep) all = all & AtMost(numbers + done, limits);
  return cv::v_check_all(all);
}

// The same of kScoresInRun numbers. A length that the compiler knows, two steps at once and no
// call: otherwise all runs take half as long again as to read them.
inline bool IsRunAtMost(const float* numbers, float limit) {
  static_assert(kScoresInRun % (2 * kStep) == 0, "no rest");
  const cv::v_float32x4 limits = cv::v_setall_f32(limit);
  cv::v_float32x4 all = AllTrue();
  for (int i = 0; i < kScoresInRun; i += 2 * kStep) {
    all = all & (AtMost(numbers + i, limits) & AtMost(numbers + i + kStep, limits));
  }
  return cv::v_check_all(all);
}
#else
inline bool AreStepsAtMost(const float*, int, float, int& done) {
  done = 0;
  return true;
}
inline bool IsRunAtMost(const float* numbers, float limit) {
  return AreAtMost(numbers, kScoresInRun, limit);
}
#endif

}  // namespace

bool AreAtMost(const float* numbers, int count, float limit) {
  int i = 0;
  bool are_at_most = AreStepsAtMost(numbers, count, limit, i);
  for (; i < count; ++i) are_at_most = are_at_most && numbers[i] <= limit;
  return are_at_most;
}

int NextRunAbove(const float* numbers, int first, int count, float limit) {
  for (; first <= count - kScoresInRun; first += kScoresInRun) {
    if (!IsRunAtMost(numbers + first, limit)) return first;
  }
  if (first < count && !AreAtMost(numbers + first, count - first, limit)) return first;
  return std::max(first, count);
}

bool MarkAbove(const float* numbers, int count, float limit, std::uint64_t* marks) {
  bool are_finite = true;
  for (int i = 0; i < count; ++i) {
    marks[i / kScoresInWord] |= static_cast<std::uint64_t>(numbers[i] > limit)
                                << (i % kScoresInWord);
    are_finite = are_finite && std::isfinite(numbers[i]);
  }
  return are_finite;
}

}  // namespace nuvik::model
