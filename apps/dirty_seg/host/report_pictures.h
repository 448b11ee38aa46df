// The pictures of a report's page.
#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <string>

#include "host/results_reader.h"

namespace dirty_seg {

enum class PictureOrigin { kNone, kSource, kOverlay };

struct FramePicture {
  PictureOrigin origin = PictureOrigin::kNone;
  cv::Mat pixels;  // CV_8UC3
};

/// The picture that the frame's results are of: its source, or where that cannot be read or has
/// another size by now, the overlay in `folder`.
FramePicture LoadPicture(const StoredFrame& frame, const std::string& folder);

/// `picture`, made smaller where it is wider than `max_width`, as JPEG in Base64.
std::string EncodePicture(const cv::Mat& picture, int max_width);

/// The small picture by which a frame is found.
std::string EncodeThumbnail(const cv::Mat& picture);

/// What is in `box` (x1, y1, x2, y2) and a little around it; empty where the box lies outside.
std::string EncodeCrop(const cv::Mat& picture, const std::array<float, 4>& box);

}  // namespace dirty_seg
