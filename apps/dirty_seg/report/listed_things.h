// A report lists things where results have them.
#pragma once

#include "results/results_reader.h"

namespace dirty_seg {

/// Puts the things of each frame that has some in the place of its detections, and of its
/// candidates those that decide: of each thing a confirmed one first, then the highest score.
Results ListThings(Results results);

}  // namespace dirty_seg
