// Frames out of pictures, videos and cameras, one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "host/inputs.h"

namespace dirty_seg {

/// One frame to process, or what kept it from being read.
struct Frame {
  /// The input's path, as given.
  std::string source;
  /// Number of the input, from 0.
  std::size_t input = 0;
  /// Number of the frame in its video, from 0; 0 for a picture.
  std::int64_t index = 0;
  /// How many were taken of this input before.
  std::size_t ordinal = 0;
  InputKind kind = InputKind::kPicture;
  /// Frames a second among those that are taken of a video or camera; 0 where it is not known.
  double rate = 0.0;
  /// CV_8UC3 in B, G, R order.
  std::shared_ptr<cv::Mat> picture;
  double read_ms = 0.0;
  /// Empty, or why there is no picture.
  std::string failure;
};

/// "'floor.mp4' frame 12", as messages about the frame begin; a picture, and an input that gives no
/// frame, by the source alone.
std::string NameOf(const Frame& frame);

/// Which frames of an input are taken.
struct FrameChoice {
  /// Of a video or camera every `step`-th, from the first on.
  int step = 1;
  /// At most so many; without it a video ends by itself, a camera never.
  std::optional<std::int64_t> most_of_video;
  std::optional<std::int64_t> most_of_camera;
};

/// Reads one input. Made anew for each.
class FrameReader {
 public:
  virtual ~FrameReader() = default;
  FrameReader() = default;
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

  /// Sets `index`, `rate` and `picture`. Returns false after the last. Throws InputError with the
  /// cause; nothing is read after that.
  virtual bool Read(Frame& frame) = 0;

  /// Frames in all, as far as the input tells.
  virtual std::optional<std::int64_t> Count() const = 0;
};

/// Opens the input. Of a video or camera every `frame_step`-th frame is taken, from the first on.
/// Throws InputError with the cause.
std::unique_ptr<FrameReader> OpenInput(const Input& input, int frame_step);

/// Frame `number` of the input, counted from 0. Throws InputError with the cause, also where there
/// is none of that number.
Frame ReadFrame(const Input& input, std::int64_t number);

/// The frames of all inputs.
class FrameSource {
 public:
  explicit FrameSource(InputQueue inputs, const FrameChoice& choice = {});

  /// Nothing after the last. Each input gives its frames, and where something fails, a frame with
  /// `failure`, which is its last.
  std::optional<Frame> NextFrame();

  /// Inputs in all; nothing while that is not known.
  std::optional<std::size_t> InputCount() const { return inputs_.Count(); }

  /// Frames of the input that the last frame came from; nothing while that is not known.
  std::optional<std::int64_t> FrameCount() const;

  /// Frames that are still to come, of all inputs; nothing while that is not known.
  std::optional<std::int64_t> FramesLeft() const;

 private:
  std::optional<std::int64_t> MostOfInput() const;
  bool HasEnough() const;

  InputQueue inputs_;
  FrameChoice choice_;
  std::optional<Input> input_;
  std::size_t next_number_ = 0;
  std::size_t taken_ = 0;  // of the input
  std::unique_ptr<FrameReader> reader_;
};

}  // namespace dirty_seg
