// Counts of not-a-number and infinite values that the decoder met. An addition of the bundled
// engine.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "engine/export.h"

namespace nuvik::model {

/// By output name, how many numbers of it were not-a-number or infinite when the calling thread
/// last called `Yolov8Postprocess::PostProcess`; outputs without any are left out. Empty after a
/// call that decoded nothing, and when this function was called since: it hands each frame's counts
/// out once.
///
/// Such numbers never reach a result, so a network that gives nothing else finds nothing, as on a
/// clean floor. They are noticed in what decoding reads: the class scores (minus infinity, which is
/// below any threshold, not always), box and coefficients of every anchor with a score above the
/// threshold, the prototypes under a mask, and one number of each other channel and prototype. Once
/// one is noticed, all of both outputs are counted.
///
/// May be called from any thread at any time. Throws nothing but std::bad_alloc. An engine of
/// another make does not have this function: the detector does without it.
NUVIK_EXPORT std::map<std::string, std::int64_t> TakeNonFiniteCounts();

}  // namespace nuvik::model
