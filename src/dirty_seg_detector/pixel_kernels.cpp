#include "dirty_seg_detector/pixel_kernels.h"

#include <array>
#include <opencv2/core/hal/intrin.hpp>

namespace nuvik::perception::dirty_seg_detector {
namespace {

constexpr int kChannels = 3;

// byte / 255 without a division. 1 / 255 = kHigh + kLow up to 2^-48; byte * kHigh is exact, and the
// one rounding of the sum that matters is that of the true quotient, for all 256 bytes (tested).
constexpr float kHigh = 0x1.01p-8F;
constexpr float kLow = 0x1.010102p-24F;

inline float ToUnit(std::uint8_t byte) { return static_cast<float>(byte) / 255.0F; }

#if CV_SIMD128
inline void StoreUnit(const cv::v_uint32x4& bytes, float* out) {
  const cv::v_float32x4 value = cv::v_cvt_f32(cv::v_reinterpret_as_s32(bytes));
  cv::v_store(out, value * cv::v_setall_f32(kHigh) + value * cv::v_setall_f32(kLow));
}

inline void StoreUnit(const cv::v_uint8x16& bytes, float* out) {
  cv::v_uint16x8 low;
  cv::v_uint16x8 high;
  cv::v_expand(bytes, low, high);
  std::array<cv::v_uint32x4, 4> quarter;
  cv::v_expand(low, quarter[0], quarter[1]);
  cv::v_expand(high, quarter[2], quarter[3]);
  for (const cv::v_uint32x4& four : quarter) {
    StoreUnit(four, out);
    out += cv::v_uint32x4::nlanes;
  }
}

// Returns the number of pixels done: as many whole vectors as fit.
inline int PackUnitRowVectors(const std::uint8_t* bgr, int cols, float* red, float* green,
                              float* blue) {
  constexpr int kStep = cv::v_uint8x16::nlanes;
  int x = 0;
  for (; x <= cols - kStep; x += kStep) {
    cv::v_uint8x16 b;
    cv::v_uint8x16 g;
    cv::v_uint8x16 r;
    cv::v_load_deinterleave(bgr + kChannels * x, b, g, r);
    StoreUnit(r, red + x);
    StoreUnit(g, green + x);
    StoreUnit(b, blue + x);
  }
  return x;
}
#else
inline int PackUnitRowVectors(const std::uint8_t*, int, float*, float*, float*) { return 0; }
#endif

using ByteTable = std::array<float, 256>;

constexpr ByteTable MakeNormalisedTable(float mean, float deviation) {
  ByteTable table{};
  for (int byte = 0; byte < 256; ++byte) {
    table[static_cast<std::size_t>(byte)] = (static_cast<float>(byte) / 255.0F - mean) / deviation;
  }
  return table;
}

// Mean and standard deviation of the ImageNet training pictures, red, green, blue, on a 0..1 scale.
constexpr ByteTable kNormalisedRed = MakeNormalisedTable(0.485F, 0.229F);
constexpr ByteTable kNormalisedGreen = MakeNormalisedTable(0.456F, 0.224F);
constexpr ByteTable kNormalisedBlue = MakeNormalisedTable(0.406F, 0.225F);

}  // namespace

void PackUnitPlanes(const std::uint8_t* bgr, std::size_t row_step, int rows, int cols,
                    float* planes) {
  const std::size_t plane = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
  for (int y = 0; y < rows; ++y) {
    const std::uint8_t* row = bgr + static_cast<std::size_t>(y) * row_step;
    float* red = planes + static_cast<std::size_t>(y) * static_cast<std::size_t>(cols);
    float* green = red + plane;
    float* blue = green + plane;
    for (int x = PackUnitRowVectors(row, cols, red, green, blue); x < cols; ++x) {
      const std::uint8_t* pixel = row + kChannels * x;
      red[x] = ToUnit(pixel[2]);
      green[x] = ToUnit(pixel[1]);
      blue[x] = ToUnit(pixel[0]);
    }
  }
}

void PackNormalisedPlanes(const std::uint8_t* bgr, std::size_t row_step, int rows, int cols,
                          float* planes) {
  const std::size_t plane = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
  for (int y = 0; y < rows; ++y) {
    const std::uint8_t* pixel = bgr + static_cast<std::size_t>(y) * row_step;
    float* red = planes + static_cast<std::size_t>(y) * static_cast<std::size_t>(cols);
    float* green = red + plane;
    float* blue = green + plane;
    for (int x = 0; x < cols; ++x, pixel += kChannels) {
      red[x] = kNormalisedRed[pixel[2]];
      green[x] = kNormalisedGreen[pixel[1]];
      blue[x] = kNormalisedBlue[pixel[0]];
    }
  }
}

}  // namespace nuvik::perception::dirty_seg_detector
