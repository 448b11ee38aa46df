// One frame of an input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "frames/inputs.h"

namespace dirty_seg {

/// One frame to process, or why it could not be read.
struct Frame {
  /// The input's path, as given.
  std::string source;
  /// Number of the input, from 0.
  std::size_t input = 0;
  /// Number of the frame in its video, from 0; 0 for a picture.
  std::int64_t index = 0;
  /// Number of frames taken from this input before it.
  std::size_t ordinal = 0;
  InputKind kind = InputKind::kPicture;
  /// Frames per second of a video or camera, counting those that are taken; 0 if it is not known.
  double rate = 0.0;
  /// CV_8UC3 in B, G, R order.
  std::shared_ptr<cv::Mat> picture;
  double read_ms = 0.0;
  /// Index of its input among those that an earlier run has done (DoneInput), if it is.
  std::optional<std::size_t> earlier;
  /// Whether the earlier run has the frame's results. For an input that is done to its end, one
  /// frame without a picture stands for all.
  bool is_done = false;
  /// What the decoder of the picture complained of, with its path; or empty. Not printed yet.
  std::string warning;
  /// Empty, or why there is no picture.
  std::string failure;
};

/// "'floor.mp4' frame 12"; "'floor.png'" without a number.
std::string FrameText(const std::string& source, std::optional<std::int64_t> number);

/// "'floor.mp4' frame 12", as messages about the frame begin; a picture, and an input without a
/// frame, are named only by the source.
std::string NameOf(const Frame& frame);

/// Prints what the frame's decoder complained of, if anything.
void PrintDecoderWarning(const Frame& frame);

}  // namespace dirty_seg
