#include "frames/video_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <opencv2/core/utils/logger.hpp>
#include <system_error>
#include <utility>

#include "base/errors.h"
#include "frames/inputs.h"

namespace dirty_seg {
namespace {

// Some containers hold no frame count, only a duration, which is rounded or that of the sound; so
// frames missing up to this share do not count as cut short.
constexpr double kCountTolerance = 0.02;

const Media& LoadQuietMedia() {
  const Media& media = LoadMedia();  // first, as no variable may be set meanwhile
  KeepVideoLibrariesQuiet();
  return media;
}

class VideoReader : public FrameReader {
 public:
  VideoReader(std::unique_ptr<VideoInput> video, std::int64_t reported_count, int frame_step)
      : video_(std::move(video)), reported_count_(reported_count), frame_step_(frame_step) {
    const double rate = video_->Rate();
    if (rate > 0.0 && std::isfinite(rate)) rate_ = rate / frame_step;
  }

  bool Read(Frame& frame) override {
    while (next_ % frame_step_ != 0) {
      if (!video_->Grab()) return End();
      ++next_;
    }
    auto picture = std::make_shared<cv::Mat>();
    if (!video_->Grab()) return End();
    const cv::Mat decoded = video_->Retrieve();
    if (decoded.empty()) return End();
    decoded.copyTo(*picture);  // its memory is used again for the next frame
    if (picture->type() != CV_8UC3) throw InputError("its frames are not colour pictures");
    frame.index = next_++;
    frame.rate = rate_;
    frame.picture = std::move(picture);
    return true;
  }

  std::optional<std::int64_t> Count() const override {
    if (reported_count_ <= 0) return std::nullopt;
    return (reported_count_ + frame_step_ - 1) / frame_step_;
  }

 private:
  bool End() const {
    if (next_ == 0) throw InputError("gives no frame that can be read");
    const auto missing = static_cast<double>(reported_count_ - next_);
    if (missing > std::max(0.0, kCountTolerance * static_cast<double>(reported_count_))) {
      throw InputError(fmt::format("ends after {} of {} frames; it is cut short or damaged", next_,
                                   reported_count_));
    }
    return false;
  }

  std::unique_ptr<VideoInput> video_;
  std::int64_t reported_count_;  // 0 or less: not known
  std::int64_t frame_step_;
  std::int64_t next_ = 0;
  double rate_ = 0.0;
};

// The number after the last character that is not a digit.
int CameraNumber(const std::string& name) {
  const std::size_t begin = name.find_last_not_of("0123456789") + 1;
  int number = 0;
  const char* const end = name.data() + name.size();
  const auto [rest, error] = std::from_chars(name.data() + begin, end, number);
  if (error != std::errc() || rest != end || name.at(begin - 1) == '-') {
    throw InputError("is not a camera; expected /dev/video0 or camera:0");
  }
  return number;
}

}  // namespace

// OpenCV and its decoders print messages without naming the input. The variable is read when a
// video is first opened.
void KeepVideoLibrariesQuiet() {
  static const bool done = [] {
    if (std::getenv("OPENCV_LOG_LEVEL") == nullptr) {
      cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    }
    setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 0);  // AV_LOG_QUIET
    return true;
  }();
  static_cast<void>(done);
}

std::unique_ptr<VideoInput> OpenVideoInput(const std::string& path) {
  const Media& media = LoadQuietMedia();
  RequireFile(path);
  std::unique_ptr<VideoInput> video = media.OpenVideo(path);
  if (video == nullptr) throw InputError("is not a video that can be read");
  return video;
}

std::unique_ptr<FrameReader> OpenVideo(const std::string& path, int frame_step) {
  std::unique_ptr<VideoInput> video = OpenVideoInput(path);
  // For a container without a frame count, OpenCV returns an impossible one.
  const double reported = video->FrameCount();
  const auto count = reported > 0.0 && reported < 1e12 ? static_cast<std::int64_t>(reported) : 0;
  return std::make_unique<VideoReader>(std::move(video), count, frame_step);
}

std::unique_ptr<FrameReader> OpenCamera(const std::string& name, int frame_step) {
  const Media& media = LoadQuietMedia();
  const int number = CameraNumber(name);
  const std::string device = fmt::format("/dev/video{}", number);
  std::error_code error;
  if (!std::filesystem::exists(device, error)) throw InputError("there is no " + device);
  std::unique_ptr<VideoInput> camera = media.OpenCamera(number);
  if (camera == nullptr) throw InputError("the camera gives no pictures");
  return std::make_unique<VideoReader>(std::move(camera), 0, frame_step);
}

}  // namespace dirty_seg
