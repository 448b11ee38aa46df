// Interleaved bytes to planar floats. The kernels take pointers and sizes; they allocate nothing,
// log nothing and never throw.
//
// `bgr` is the first byte of `rows` rows of `cols` pixels, three bytes each in B, G, R order, rows
// `row_step` bytes apart. The result is three planes of rows x cols floats, red, green, blue, each
// contiguous in row-major order. Input and output must not overlap.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nuvik::perception::dirty_seg_detector {

/// Every byte b becomes (float)b / 255.0f.
void PackUnitPlanes(const std::uint8_t* bgr, std::size_t row_step, int rows, int cols,
                    float* planes);

/// Every byte b becomes ((float)b / 255.0f - mean) / deviation of its channel, each step rounded to
/// float: the normalisation that the classifier was trained with.
void PackNormalisedPlanes(const std::uint8_t* bgr, std::size_t row_step, int rows, int cols,
                          float* planes);

}  // namespace nuvik::perception::dirty_seg_detector
