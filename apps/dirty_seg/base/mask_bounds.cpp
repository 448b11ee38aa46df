#include "base/mask_bounds.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace dirty_seg {
namespace {

// Most rows are, so eight pixels at a time.
bool IsBlank(const cv::Mat& row) {
  if (row.empty()) return true;
  const std::uint8_t* pixel = row.ptr();
  const std::uint8_t* const end = pixel + row.cols;
  std::uint64_t eight = 0;
  while (end - pixel >= 8 && (std::memcpy(&eight, pixel, 8), eight == 0)) pixel += 8;
  return std::all_of(pixel, end, [](std::uint8_t value) { return value == 0; });
}

// From the first to behind the last pixel that is set; from 0 to 0 if none is.
cv::Range SetRange(const cv::Mat& row) {
  if (IsBlank(row)) return {0, 0};
  const std::uint8_t* const begin = row.ptr();
  const std::uint8_t* const end = begin + row.cols;
  const auto is_set = [](std::uint8_t value) { return value != 0; };
  const std::uint8_t* const first = std::find_if(begin, end, is_set);
  const auto last =
      std::find_if(std::make_reverse_iterator(end), std::make_reverse_iterator(first), is_set);
  return {static_cast<int>(first - begin), static_cast<int>(last.base() - begin)};
}

}  // namespace

// Not by cv::boundingRect, which is wrong for some parts of larger matrices.
cv::Rect MaskBounds(const cv::Mat& mask) {
  if (mask.empty()) return {};
  cv::Mat columns = cv::Mat::zeros(1, mask.cols, CV_8UC1);
  cv::Range y(0, 0);
  for (int i = 0; i < mask.rows; ++i) {
    const cv::Mat row = mask.row(i);
    if (IsBlank(row)) continue;
    cv::bitwise_or(row, columns, columns);
    if (y.empty()) y.start = i;
    y.end = i + 1;
  }
  const cv::Range x = SetRange(columns);
  return {x.start, y.start, x.size(), y.size()};
}

}  // namespace dirty_seg
