// Scaling with bilinear weights. The kernel takes pointers and sizes; it allocates nothing, logs
// nothing and never throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nuvik::perception::dirty_seg_detector {

/// What one pixel of a scaled axis is made of: two source pixels and their weights in 2048ths.
struct LinearTap {
  int first;
  int second;
  int first_weight;
  int second_weight;
};

/// The taps of each of `target` columns of a picture of `source` columns, and of rows, as
/// cv::resize with cv::INTER_LINEAR has them. Beyond the first and last source pixel both taps are
/// that pixel; only rows keep the two weights there, which round by themselves.
void LinearColumns(int source, int target, std::vector<LinearTap>& taps);
void LinearRows(int source, int target, std::vector<LinearTap>& taps);

/// Writes a picture of rows.size() x columns.size() pixels of three bytes, the bits of cv::resize
/// with cv::INTER_LINEAR. `scratch` has room for 6 * columns.size() numbers. Steps are in bytes.
/// Source and target must not overlap.
void BlendPixels(const std::uint8_t* source, std::size_t source_step,
                 const std::vector<LinearTap>& columns, const std::vector<LinearTap>& rows,
                 int* scratch, std::uint8_t* target, std::size_t target_step);

}  // namespace nuvik::perception::dirty_seg_detector
