#include "dirty_seg_detector/mask_kernels.h"

#include <opencv2/core/hal/intrin.hpp>

namespace nuvik::perception::dirty_seg_detector {
namespace {

#if CV_SIMD128
// Counts bytes that are not 0: each comparison adds 1 to its lane, and a lane takes 255 of them.
class LaneCounter {
 public:
  void Add(const cv::v_uint8x16& is_set) {
    lanes_ = cv::v_sub_wrap(lanes_, is_set);
    if (++additions_ == 255) Flush();
  }

  int Total() {
    Flush();
    return total_;
  }

 private:
  void Flush() {
    total_ += static_cast<int>(cv::v_reduce_sum(lanes_));
    lanes_ = cv::v_setzero_u8();
    additions_ = 0;
  }

  cv::v_uint8x16 lanes_ = cv::v_setzero_u8();
  int additions_ = 0;
  int total_ = 0;
};

// Four vectors at once: most of a mask is blank, and one test then passes over all of them.
inline bool IsBlank(const std::uint8_t* mask) {
  constexpr int kStep = cv::v_uint8x16::nlanes;
  const cv::v_uint8x16 any = (cv::v_load(mask) | cv::v_load(mask + kStep)) |
                             (cv::v_load(mask + 2 * kStep) | cv::v_load(mask + 3 * kStep));
  return !cv::v_check_any(any != cv::v_setzero_u8());
}

// One row as far as whole vectors reach; returns the number of bytes done.
inline int UniteRowVectors(const std::uint8_t* mask, std::uint8_t* canvas, int cols,
                           LaneCounter& counter) {
  constexpr int kStep = cv::v_uint8x16::nlanes;
  int x = 0;
  while (x <= cols - kStep) {
    if (x <= cols - 4 * kStep && IsBlank(mask + x)) {
      x += 4 * kStep;
      continue;
    }
    const cv::v_uint8x16 bytes = cv::v_load(mask + x);
    const cv::v_uint8x16 is_set = bytes != cv::v_setzero_u8();
    cv::v_store(canvas + x, cv::v_load(canvas + x) | bytes);
    counter.Add(is_set);
    x += kStep;
  }
  return x;
}
#else
struct LaneCounter {
  int Total() { return 0; }
};
inline int UniteRowVectors(const std::uint8_t*, std::uint8_t*, int, LaneCounter&) { return 0; }
#endif

}  // namespace

int UniteAndCount(const std::uint8_t* mask, std::size_t mask_step, std::uint8_t* canvas,
                  std::size_t canvas_step, int rows, int cols) {
  LaneCounter counter;
  int rest = 0;
  for (int y = 0; y < rows; ++y, mask += mask_step, canvas += canvas_step) {
    for (int x = UniteRowVectors(mask, canvas, cols, counter); x < cols; ++x) {
      canvas[x] |= mask[x];
      rest += mask[x] != 0 ? 1 : 0;
    }
  }
  return counter.Total() + rest;
}

}  // namespace nuvik::perception::dirty_seg_detector
