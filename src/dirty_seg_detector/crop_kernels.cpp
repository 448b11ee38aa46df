#include "dirty_seg_detector/crop_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace nuvik::perception::dirty_seg_detector {
namespace {

constexpr std::size_t kPixel = 3;

// Four bytes at a time, the fourth overwritten by the next pixel, as long as a further pixel
// follows in the source; what reads the last source pixel takes three.
void GatherRow(const std::uint8_t* source, const std::vector<int>& columns, std::size_t wide,
               std::uint8_t* target) {
  std::size_t x = 0;
  for (; x < wide; ++x) {
    const auto column = static_cast<std::size_t>(columns[x]);
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, source + kPixel * column, sizeof(pixel));
    std::memcpy(target + kPixel * x, &pixel, sizeof(pixel));
  }
  for (; x < columns.size(); ++x) {
    const auto column = static_cast<std::size_t>(columns[x]);
    std::memcpy(target + kPixel * x, source + kPixel * column, kPixel);
  }
}

}  // namespace

void NearestIndices(int source, int target, std::vector<int>& indices) {
  indices.resize(static_cast<std::size_t>(target));
  const double step = 1.0 / (static_cast<double>(target) / source);
  for (int i = 0; i < target; ++i) {
    indices[static_cast<std::size_t>(i)] =
        std::min(static_cast<int>(std::floor(i * step)), source - 1);
  }
}

void GatherPixels(const std::uint8_t* source, std::size_t source_step,
                  const std::vector<int>& columns, const std::vector<int>& rows,
                  std::uint8_t* target, std::size_t target_step) {
  const auto wide = static_cast<std::size_t>(
      std::lower_bound(columns.begin(), columns.end(), columns.back()) - columns.begin());
  const bool is_copy = columns.back() + 1 == static_cast<int>(columns.size());
  for (std::size_t y = 0; y < rows.size(); ++y, target += target_step) {
    if (y > 0 && rows[y] == rows[y - 1]) {
      std::memcpy(target, target - target_step, kPixel * columns.size());
      continue;
    }
    const std::uint8_t* row = source + static_cast<std::size_t>(rows[y]) * source_step;
    if (is_copy) {
      std::memcpy(target, row, kPixel * columns.size());
    } else {
      GatherRow(row, columns, wide, target);
    }
  }
}

}  // namespace nuvik::perception::dirty_seg_detector
