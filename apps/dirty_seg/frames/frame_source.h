// Frames out of pictures, videos and cameras, one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "frames/frame.h"
#include "frames/inputs.h"

namespace dirty_seg {

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
