// Scaling by nearest neighbour. The kernel takes pointers and sizes; it logs nothing and never
// throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nuvik::perception::dirty_seg_detector {

/// The source index of each of `target` pixels along an axis of `source`: floor(i * source /
/// target) in double, as cv::resize with cv::INTER_NEAREST computes it.
void NearestIndices(int source, int target, std::vector<int>& indices);

/// Writes one pixel of three bytes for each entry of `columns`, in each of `rows.size()` rows: that
/// of source row rows[y] and column columns[x]. Both lists ascend and are not empty. Reads nothing
/// past the last pixel of a row, writes nothing past the last pixel of a target row. Steps are
/// in bytes. Source and target must not overlap.
void GatherPixels(const std::uint8_t* source, std::size_t source_step,
                  const std::vector<int>& columns, const std::vector<int>& rows,
                  std::uint8_t* target, std::size_t target_step);

}  // namespace nuvik::perception::dirty_seg_detector
