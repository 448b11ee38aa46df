// Rows of mask logits. The kernels take pointers, steps and sizes; they allocate nothing, log
// nothing and never throw. Input and output must not overlap.
#pragma once

#include <cstddef>
#include <cstdint>

#include "geometry/patch_geometry.h"

namespace nuvik::model {

/// Adds to each of `count` sums the values of `planes` planes, `step` numbers apart, times their
/// coefficients: one plane after the other, each product and sum rounded to float.
void AddPlanes(const float* values, std::size_t step, const float* coefficients, int planes,
               int count, float* sums);

/// Leaves logits whose differences do not overflow, and not-a-number, which no threshold is below,
/// for those that are not finite. Returns whether all were finite.
bool LimitLogits(int count, float* logits);

/// Blends for each of `count` samples its two logits: left + (right - left) * weight. Samples count
/// cells from 0 on, `logits` begins with that of `first_cell`.
void StretchLogits(const float* logits, int first_cell,
                   const geometry::PatchGeometry::Sample* samples, int count, float* stretched);

/// Blends two rows, upper + (lower - upper) * weight, and writes 255 where that is greater than
/// `threshold`, else 0.
void PaintRow(const float* upper, const float* lower, float weight, float threshold, int count,
              std::uint8_t* mask);

}  // namespace nuvik::model
