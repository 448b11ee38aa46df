// The pictures of a report's page.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <utility>

#include "media/media.h"
#include "results/results_reader.h"

namespace dirty_seg {

enum class PictureOrigin { kNone, kSource, kOverlay };

struct FramePicture {
  PictureOrigin origin = PictureOrigin::kNone;
  cv::Mat pixels;  // CV_8UC3
};

/// Finds the pictures of results. Fastest for a video's frames in order.
class PictureLoader {
 public:
  /// `folder` is that of the results.
  explicit PictureLoader(std::string folder) : folder_(std::move(folder)) {}

  /// The frame's source, a picture or a video's frame; if it cannot be read or now has another
  /// size, the overlay among the results.
  FramePicture Load(const StoredFrame& frame);

 private:
  cv::Mat ReadSource(const StoredFrame& frame);
  cv::Mat ReadVideo(const std::string& path, std::int64_t number);

  std::string folder_;
  std::unique_ptr<VideoInput> video_;  // nothing if it cannot be read
  std::string video_path_;
  std::int64_t next_frame_ = 0;  // of the video
};

/// `picture`, scaled down if it is wider than `max_width`, as JPEG in Base64.
std::string EncodePicture(const cv::Mat& picture, int max_width);

/// A thumbnail as JPEG in Base64.
std::string EncodeThumbnail(const cv::Mat& picture);

/// The part in `box` (x1, y1, x2, y2) with a margin; empty if the box lies outside.
std::string EncodeCrop(const cv::Mat& picture, const std::array<float, 4>& box);

}  // namespace dirty_seg
