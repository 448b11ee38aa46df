// Frames from pictures, videos and cameras, one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "frames/frame.h"
#include "frames/inputs.h"

namespace dirty_seg {

/// Which frames of a video or camera are looked at, from the first on.
struct Sampling {
  /// Every `step`-th.
  int step = 1;
  /// In place of `step`: one in so many seconds, by a video's rate and by the clock for a camera.
  std::optional<double> seconds;
};

/// Which frames of an input are taken.
struct FrameChoice {
  Sampling sampling;
  /// Maximum number of frames; without it a video ends by itself, a camera never.
  std::optional<std::int64_t> max_video_frames;
  std::optional<std::int64_t> max_camera_frames;
};

/// What an earlier run has done of an input.
struct DoneInput {
  std::string path;
  std::size_t frames = 0;  // taken from it
  /// Number of the frame after the last of these.
  std::int64_t next_frame = 0;
  /// Whether nothing is left to do; if not, it is a video or camera.
  bool is_whole = false;
};

/// Reads one input.
class FrameReader {
 public:
  virtual ~FrameReader() = default;
  FrameReader() = default;
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

  /// Sets `index`, `rate` and `picture`. Returns false after the last. Throws InputError with the
  /// cause; nothing is read after that.
  virtual bool Read(Frame& frame) = 0;

  /// Total number of frames, if the input reports it.
  virtual std::optional<std::int64_t> Count() const = 0;
};

/// Opens the input. Throws InputError with the cause.
std::unique_ptr<FrameReader> OpenInput(const Input& input, const Sampling& sampling = {});

/// Frame `number` of the input, counted from 0; prints its decoder's warning. Throws InputError
/// with the cause, also if there is no such frame.
Frame ReadFrame(const Input& input, std::int64_t number);

/// The frames of all inputs.
class FrameSource {
 public:
  /// Each of `done` is taken as one of the inputs with its path, in their order.
  explicit FrameSource(InputQueue inputs, const FrameChoice& choice = {},
                       const std::vector<DoneInput>& done = {});

  /// Nothing after the last. Each input gives its frames, and if something fails, a last frame with
  /// `failure`. A video that is done in part gives all its frames again; a camera, which cannot,
  /// goes on numbering where it was.
  std::optional<Frame> NextFrame();

  /// Total number of inputs; nothing while it is not known.
  std::optional<std::size_t> InputCount() const { return inputs_.Count(); }

  /// Frames of the input that the last frame came from; nothing while that is not known.
  std::optional<std::int64_t> FrameCount() const;

  /// Frames that are still to come, of all inputs; nothing while that is not known.
  std::optional<std::int64_t> FramesLeft() const;

 private:
  bool BeginInput();
  Frame NewFrame() const;
  bool ReadFrame(Frame& frame);
  void EndInput();
  std::optional<std::int64_t> FrameLimit() const;
  bool HasEnough() const;

  InputQueue inputs_;
  FrameChoice choice_;
  struct Earlier {
    std::size_t index;
    DoneInput done;
  };
  std::unordered_map<std::string, std::deque<Earlier>> done_;  // by path; not come to yet
  std::optional<Input> input_;
  std::optional<Earlier> earlier_;  // of the input
  std::size_t next_number_ = 0;
  std::size_t taken_ = 0;  // of the input
  std::unique_ptr<FrameReader> reader_;
};

}  // namespace dirty_seg
