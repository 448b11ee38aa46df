#include "frames/frame_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/errors.h"
#include "base/stopwatch.h"
#include "frames/video_reader.h"

namespace dirty_seg {
namespace {

class PictureReader : public FrameReader {
 public:
  explicit PictureReader(std::string path) : path_(std::move(path)) {}

  bool Read(Frame& frame) override {
    if (was_read_) return false;
    was_read_ = true;
    DecodedPicture decoded = DecodePicture(path_);
    frame.picture = std::make_shared<cv::Mat>(std::move(decoded.pixels));
    frame.warning = std::move(decoded.warning);
    return true;
  }

  std::optional<std::int64_t> Count() const override { return 1; }

 private:
  std::string path_;
  bool was_read_ = false;
};

}  // namespace

std::unique_ptr<FrameReader> OpenInput(const Input& input, const Sampling& sampling) {
  if (!input.failure.empty()) throw InputError(input.failure);
  if (input.kind == InputKind::kPicture) return std::make_unique<PictureReader>(input.path);
  if (input.kind == InputKind::kCamera) return OpenCamera(input.path, sampling);
  return OpenVideo(input.path, sampling);
}

Frame ReadFrame(const Input& input, std::int64_t number) {
  const std::unique_ptr<FrameReader> reader = OpenInput(input);
  Frame frame;
  frame.source = input.path;
  frame.kind = input.kind;
  for (std::int64_t count = 0; count <= number; ++count) {
    if (reader->Read(frame)) continue;
    throw InputError(
        fmt::format("has no frame {}; expected {}", number,
                    count == 1 ? "0" : fmt::format("a number from 0 to {}", count - 1)));
  }
  PrintDecoderWarning(frame);
  return frame;
}

FrameSource::FrameSource(InputQueue inputs, const FrameChoice& choice,
                         const std::vector<DoneInput>& done)
    : inputs_(std::move(inputs)), choice_(choice) {
  for (std::size_t i = 0; i < done.size(); ++i) done_[done[i].path].push_back({i, done[i]});
}

std::optional<Frame> FrameSource::NextFrame() {
  while (true) {
    if (!input_ && !BeginInput()) return std::nullopt;
    Frame frame = NewFrame();
    if (earlier_ && earlier_->done.is_whole) {
      frame.is_done = true;
      EndInput();
      return frame;
    }
    try {
      if (ReadFrame(frame)) return frame;
    } catch (const InputError& error) {
      frame.failure = error.what();
    }
    EndInput();
    if (!frame.failure.empty()) return frame;
  }
}

// Returns whether there is one.
bool FrameSource::BeginInput() {
  input_ = inputs_.Next();
  if (!input_) return false;
  ++next_number_;
  taken_ = 0;
  earlier_.reset();
  const auto done = done_.find(input_->path);
  if (done == done_.end() || done->second.empty()) return true;
  earlier_ = std::move(done->second.front());
  done->second.pop_front();
  if (input_->kind == InputKind::kCamera) taken_ = earlier_->done.frames;
  return true;
}

void FrameSource::EndInput() {
  input_.reset();
  reader_.reset();
}

Frame FrameSource::NewFrame() const {
  Frame frame;
  frame.source = input_->path;
  frame.input = next_number_ - 1;
  frame.kind = input_->kind;
  if (earlier_) frame.earlier = earlier_->index;
  return frame;
}

// Returns whether there is one more.
bool FrameSource::ReadFrame(Frame& frame) {
  const Stopwatch watch;
  if (reader_ == nullptr) reader_ = OpenInput(*input_, choice_.sampling);
  if (HasEnough() || !reader_->Read(frame)) return false;
  if (earlier_ && input_->kind == InputKind::kCamera) frame.index += earlier_->done.next_frame;
  if (earlier_) frame.is_done = taken_ < earlier_->done.frames;
  frame.ordinal = taken_++;
  frame.read_ms = watch.Milliseconds();
  return true;
}

// Of the input in hand.
std::optional<std::int64_t> FrameSource::FrameLimit() const {
  if (input_->kind == InputKind::kPicture) return std::nullopt;
  return input_->kind == InputKind::kCamera ? choice_.max_camera_frames : choice_.max_video_frames;
}

bool FrameSource::HasEnough() const {
  const std::optional<std::int64_t> most = FrameLimit();
  return most && static_cast<std::int64_t>(taken_) >= *most;
}

std::optional<std::int64_t> FrameSource::FrameCount() const {
  if (reader_ == nullptr) return std::nullopt;
  const std::optional<std::int64_t> count = reader_->Count();
  const std::optional<std::int64_t> most = FrameLimit();
  return count && most ? std::min(*count, *most) : count;
}

std::optional<std::int64_t> FrameSource::FramesLeft() const {
  const std::optional<std::size_t> pictures = inputs_.PicturesLeft();
  const std::optional<std::int64_t> frames = FrameCount();
  if (!pictures || !frames) return std::nullopt;
  return static_cast<std::int64_t>(*pictures) +
         std::max<std::int64_t>(0, *frames - static_cast<std::int64_t>(taken_));
}

}  // namespace dirty_seg
