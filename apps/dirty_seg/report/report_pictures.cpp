#include "report/report_pictures.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <system_error>

#include "base/base64.h"
#include "base/errors.h"
#include "frames/inputs.h"
#include "frames/video_reader.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr int kQuality = 80;  // of JPEG
constexpr int kThumbnailWidth = 320;
constexpr int kThumbnailQuality = 70;
constexpr int kCropSide = 300;
constexpr double kCropMargin = 0.2;  // of a box's side

cv::Mat ReadOrNothing(const std::string& path) {
  try {
    return ReadPicture(path);
  } catch (const InputError&) {
    return {};
  }
}

std::unique_ptr<VideoInput> OpenOrNothing(const std::string& path) {
  try {
    return OpenVideoInput(path);
  } catch (const InputError&) {
    return nullptr;
  }
}

cv::Mat Shrunk(const cv::Mat& picture, double scale) {
  if (scale >= 1.0) return picture;
  cv::Mat shrunk;
  const auto side = [scale](int length) {
    return std::max(1, static_cast<int>(std::lround(length * scale)));
  };
  const cv::Size size(side(picture.cols), side(picture.rows));
  cv::resize(picture, shrunk, size, 0.0, 0.0, cv::INTER_AREA);
  return shrunk;
}

std::string Encode(const cv::Mat& picture, int quality) {
  return Base64(LoadMedia().Encode(".jpg", picture, quality));
}

}  // namespace

FramePicture PictureLoader::Load(const StoredFrame& frame) {
  const cv::Mat source = ReadSource(frame);
  const bool is_same = !frame.image_size || *frame.image_size == source.size();
  if (!source.empty() && is_same) return {PictureOrigin::kSource, source};
  if (frame.overlay.empty()) return {};
  // Only from the results folder, whatever the line says.
  const fs::path overlay_path = fs::path(folder_) / fs::path(frame.overlay).filename();
  const cv::Mat overlay = ReadOrNothing(overlay_path.string());
  if (overlay.empty()) return {};
  return {PictureOrigin::kOverlay, overlay};
}

cv::Mat PictureLoader::ReadSource(const StoredFrame& frame) {
  const cv::Mat picture = frame.frame == 0 ? ReadOrNothing(frame.source) : cv::Mat();
  return picture.empty() ? ReadVideo(frame.source, frame.frame) : picture;
}

// Frame after frame: seeking in a compressed video can miss its target.
cv::Mat PictureLoader::ReadVideo(const std::string& path, std::int64_t number) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return {};
  if (path != video_path_ || number < next_frame_) {
    video_ = OpenOrNothing(path);
    video_path_ = path;
    next_frame_ = 0;
  }
  for (; next_frame_ <= number; ++next_frame_) {
    if (video_ == nullptr || !video_->Grab()) return {};
  }
  const cv::Mat picture = video_->Retrieve();
  return picture.type() == CV_8UC3 ? picture : cv::Mat();
}

std::string EncodePicture(const cv::Mat& picture, int max_width) {
  return Encode(Shrunk(picture, static_cast<double>(max_width) / picture.cols), kQuality);
}

std::string EncodeThumbnail(const cv::Mat& picture) {
  const cv::Mat thumbnail =
      Shrunk(picture, static_cast<double>(kThumbnailWidth) / std::max(picture.cols, picture.rows));
  return Encode(thumbnail, kThumbnailQuality);
}

std::string EncodeCrop(const cv::Mat& picture, const std::array<float, 4>& box) {
  const double margin_x = kCropMargin * (box[2] - box[0]);
  const double margin_y = kCropMargin * (box[3] - box[1]);
  const auto clamp = [](double value, int limit) {
    return static_cast<int>(std::clamp(std::round(value), 0.0, static_cast<double>(limit)));
  };
  const cv::Rect crop(
      cv::Point(clamp(box[0] - margin_x, picture.cols), clamp(box[1] - margin_y, picture.rows)),
      cv::Point(clamp(box[2] + margin_x, picture.cols), clamp(box[3] + margin_y, picture.rows)));
  if (crop.empty()) return "";
  const double scale = static_cast<double>(kCropSide) / std::max(crop.width, crop.height);
  return Encode(Shrunk(picture(crop), scale), kQuality);
}

}  // namespace dirty_seg
