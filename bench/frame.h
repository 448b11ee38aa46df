// A whole detector on the benchmark's network, which make_network.py describes, in a batch of six
// or of one: six patches of a 1920 x 1080 frame, ten objects in each.
#pragma once

#include "bench/scene.h"
#include "dirty_seg_detector/dirty_seg_detector.h"

namespace bench {

using nuvik::perception::dirty_seg_detector::DirtySegDetector;
using nuvik::perception::dirty_seg_detector::ImageMap;

constexpr std::size_t kFrameObjects = 6 * 10;

/// File of the network with a batch of 6 or of 1.
const char* NetworkPath(int batch);

/// Makes `detector` ready to run. Throws std::runtime_error when its initialisation fails.
void InitDetector(DirtySegDetector& detector, int threads, int batch = kSlots);

/// A frame of noise.
ImageMap MakeFrame();

/// Runs one frame. Throws std::runtime_error when that fails or does not find every object.
void RunFrame(DirtySegDetector& detector, const ImageMap& frame);

}  // namespace bench
