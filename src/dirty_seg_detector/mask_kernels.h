// Uniting masks. The kernel takes pointers and sizes; it allocates nothing, logs nothing and never
// throws.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nuvik::perception::dirty_seg_detector {

/// canvas |= mask over `rows` rows of `cols` bytes, rows the given steps apart. Returns the number
/// of mask bytes that are not 0. Mask and canvas must not overlap. What of the mask is blank costs
/// one read: the canvas is touched only where the mask is not.
int UniteAndCount(const std::uint8_t* mask, std::size_t mask_step, std::uint8_t* canvas,
                  std::size_t canvas_step, int rows, int cols);

}  // namespace nuvik::perception::dirty_seg_detector
