// How a patch of the frame becomes the network's square: the one definition that cropping and
// decoding share, so that the decoder inverts exactly what the crop did.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <opencv2/core.hpp>

namespace nuvik::geometry {

/// Results are mapped into a frame of this size, whatever the size of the image.
inline constexpr int kFrameWidth = 1920;
inline constexpr int kFrameHeight = 1080;

/// Truncates toward zero, saturates at the type's limits and takes not-a-number to 0: what the Arm
/// conversion instructions do, and defined everywhere.
inline int SaturateToInt(float value) {
  constexpr float kAboveMax = 2147483648.0F;  // 2^31, the first float over the largest int
  if (value >= kAboveMax) return std::numeric_limits<int>::max();
  if (value <= -kAboveMax) return std::numeric_limits<int>::min();
  return value == value ? static_cast<int>(value) : 0;
}

/// Clips the right and lower edge of `patch` to an image of `size`; the origin stays. The width or
/// height of the result is 0 or less when nothing is left. No sum overflows.
inline cv::Rect ClipFarEdges(const cv::Rect& patch, const cv::Size& size) {
  const auto clip = [](std::int64_t origin, std::int64_t length, std::int64_t limit) {
    return static_cast<int>(std::min(origin + length, limit) - origin);
  };
  return {patch.x, patch.y, clip(patch.x, patch.width, size.width),
          clip(patch.y, patch.height, size.height)};
}

/// Size of a `source` whose longer side is scaled to `side`. Float products, truncated: either side
/// can come out one short of what real arithmetic gives.
inline cv::Size ScaleLongerSideTo(int side, const cv::Size& source) {
  const float scale =
      static_cast<float>(side) / static_cast<float>(std::max(source.width, source.height));
  return {SaturateToInt(static_cast<float>(source.width) * scale),
          SaturateToInt(static_cast<float>(source.height) * scale)};
}

/// Border on each of two opposite sides; the other two sides have none.
struct SquareBorder {
  int top_and_bottom = 0;
  int left_and_right = 0;
};

/// Half the difference of the sides, rounded down: an odd difference stays one pixel short of
/// square.
inline SquareBorder BorderToSquare(const cv::Size& size) {
  if (size.width >= size.height) return {(size.width - size.height) / 2, 0};
  return {0, (size.height - size.width) / 2};
}

}  // namespace nuvik::geometry
