#include "frames/video_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
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

// Positive, or 0 where it is not known.
double RateOf(const VideoInput& video) {
  const double rate = video.Rate();
  return rate > 0.0 && std::isfinite(rate) ? rate : 0.0;
}

// Tells of each frame, as it comes, whether it is taken.
using Choice = std::function<bool(std::int64_t number)>;

Choice EveryNth(std::int64_t step) {
  return [step](std::int64_t number) { return number % step == 0; };
}

Choice EverySeconds(double seconds, std::function<double()> clock) {
  const double begin = clock();
  return [seconds, clock = std::move(clock), begin, due = 0.0](std::int64_t /*number*/) mutable {
    const double passed = std::floor((clock() - begin) / seconds);
    if (passed < due) return false;
    due = passed + 1.0;
    return true;
  };
}

struct Plan {
  Choice is_taken;
  std::int64_t count;  // of the frames that are taken; 0 or less: not known
  double rate;         // of these
};

class VideoReader : public FrameReader {
 public:
  // `reported_count` is 0 or less where it is not known.
  VideoReader(std::unique_ptr<VideoInput> video, std::int64_t reported_count, Plan plan)
      : video_(std::move(video)), reported_count_(reported_count), plan_(std::move(plan)) {}

  bool Read(Frame& frame) override {
    do {
      if (!video_->Grab()) return End();
    } while (!plan_.is_taken(next_++));
    const cv::Mat decoded = video_->Retrieve();
    if (decoded.empty()) {
      --next_;
      return End();
    }
    auto picture = std::make_shared<cv::Mat>();
    decoded.copyTo(*picture);  // its memory is used again for the next frame
    if (picture->type() != CV_8UC3) throw InputError("its frames are not colour pictures");
    frame.index = next_ - 1;
    frame.rate = plan_.rate;
    frame.picture = std::move(picture);
    return true;
  }

  std::optional<std::int64_t> Count() const override {
    return plan_.count > 0 ? std::optional(plan_.count) : std::nullopt;
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
  std::int64_t reported_count_;
  Plan plan_;
  std::int64_t next_ = 0;  // number of the frame
};

std::int64_t StepOf(const Sampling& sampling, double rate) {
  if (!sampling.seconds) return sampling.step;
  if (rate == 0.0) {
    throw InputError("does not say how many frames it has a second; expected --frame-step for it");
  }
  return std::max<std::int64_t>(1, std::llround(*sampling.seconds * rate));
}

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

std::unique_ptr<FrameReader> OpenVideo(const std::string& path, const Sampling& sampling) {
  std::unique_ptr<VideoInput> video = OpenVideoInput(path);
  // For a container without a frame count, OpenCV returns an impossible one.
  const double reported = video->FrameCount();
  const auto count = reported > 0.0 && reported < 1e12 ? static_cast<std::int64_t>(reported) : 0;
  const double rate = RateOf(*video);
  const std::int64_t step = StepOf(sampling, rate);
  return std::make_unique<VideoReader>(
      std::move(video), count,
      Plan{EveryNth(step), (count + step - 1) / step, rate / static_cast<double>(step)});
}

std::unique_ptr<FrameReader> OpenCamera(const std::string& name, const Sampling& sampling) {
  const Media& media = LoadQuietMedia();
  const int number = CameraNumber(name);
  const std::string device = fmt::format("/dev/video{}", number);
  std::error_code error;
  if (!std::filesystem::exists(device, error)) throw InputError("there is no " + device);
  std::unique_ptr<VideoInput> camera = media.OpenCamera(number);
  if (camera == nullptr) throw InputError("the camera gives no pictures");
  return ReadCamera(std::move(camera), sampling);
}

// All its frames are grabbed: those that wait in its queue would be old when they are wanted.
std::unique_ptr<FrameReader> ReadCamera(std::unique_ptr<VideoInput> camera,
                                        const Sampling& sampling, std::function<double()> clock) {
  Plan plan{EveryNth(sampling.step), 0, RateOf(*camera) / sampling.step};
  if (sampling.seconds) {
    plan.is_taken = EverySeconds(*sampling.seconds, std::move(clock));
    plan.rate = 1.0 / *sampling.seconds;
  }
  return std::make_unique<VideoReader>(std::move(camera), 0, std::move(plan));
}

}  // namespace dirty_seg
