// Lines for people with what was found and how fast.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "detector/labels.h"
#include "frames/frame.h"
#include "results/frame_record.h"
#include "results/summary.h"

namespace dirty_seg {

/// "image 1/2 PATH: 1920x1080 3 stain, 1 faeces, 36.4ms", "video 1/1 (frame 5/300) PATH: ...";
/// numbers that are not known are left out. The time is the detector's.
std::string FrameLine(const Frame& frame, std::optional<std::size_t> inputs,
                      std::optional<std::int64_t> frames, const FrameRecord& record,
                      const Labels& labels);

/// "Speed: 2.1ms preprocess, 30.0ms inference, 1.0ms postprocess, 0.5ms convert per frame": means
/// of the run, with "0.3ms classify" before convert where there is a classifier. A stage that no
/// frame has is left out; empty if that is every one.
std::string SpeedLine(const Summary& summary);

}  // namespace dirty_seg
