// Prototypes written cell by cell, and masks as text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "decode/mask_painter.h"
#include "geometry/patch_geometry.h"

namespace nuvik::model {

/// Prototypes of `side` x `side` cells, all 0 at first.
class Planes {
 public:
  Planes(int coefficients, int side)
      : coefficients_(coefficients),
        side_(side),
        values_(static_cast<std::size_t>(coefficients * side * side)) {}

  float& At(int k, int row, int column) {
    return values_.at(static_cast<std::size_t>((k * side_ + row) * side_ + column));
  }

  void Fill(int k, float value) {
    const auto plane = values_.begin() + static_cast<std::ptrdiff_t>(k) * side_ * side_;
    std::fill(plane, plane + static_cast<std::ptrdiff_t>(side_) * side_, value);
  }

  MaskPainter::Prototypes View() const { return {values_.data(), coefficients_, side_}; }

 private:
  int coefficients_;
  int side_;
  std::vector<float> values_;
};

inline cv::Rect Whole(const geometry::PatchGeometry& geometry) {
  return {cv::Point(0, 0), geometry.size()};
}

/// A mask as text, '#' for 255 and '.' for 0, '?' for anything else.
inline std::vector<std::string> Rows(const cv::Mat& mask) {
  std::vector<std::string> rows;
  for (int y = 0; y < mask.rows; ++y) {
    std::string row;
    for (int x = 0; x < mask.cols; ++x) {
      const int value = mask.at<std::uint8_t>(y, x);
      row += value == 255 ? '#' : (value == 0 ? '.' : '?');
    }
    rows.push_back(row);
  }
  return rows;
}

/// An 8 x 8 patch over 4 x 4 cells. Its pixels lie at these cells:
/// 0 (clipped), 0.25, 0.75, 1.25, 1.75, 2.25, 2.75, 3 (clipped).
inline geometry::PatchGeometry EightByEight() { return {{8, 8}, 8, 4}; }

inline std::vector<std::string> PaintEight(const Planes& planes,
                                           const std::vector<float>& coefficients,
                                           const cv::Rect& box, float threshold) {
  MaskPainter painter;
  return Rows(painter.Paint(planes.View(), coefficients.data(), EightByEight(), box, threshold));
}

inline constexpr std::size_t kSide = 8;

}  // namespace nuvik::model
