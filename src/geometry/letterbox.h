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
inline cv::Size FrameSize() { return {kFrameWidth, kFrameHeight}; }

/// Of each channel, in what an image leaves of a square or of the frame.
inline constexpr int kGrey = 114;

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

/// How an image lies in the network's square: scaled, in the middle, its border grey. Along each
/// axis the coordinate p of the image is at p * scaled / source + border in the square, in pixels,
/// whole numbers at their left and upper edges.
struct Letterbox {
  /// `source_size` is the image's, `side` the square's. A side of 0 is left of what is too thin to
  /// be scaled.
  Letterbox(const cv::Size& source_size, int side)
      : source(source_size),
        scaled(ScaleLongerSideTo(side, source)),
        border(BorderToSquare(scaled)) {}

  /// The scaled image and its border on every side: the square, or one pixel short of it.
  cv::Size Padded() const {
    return {scaled.width + 2 * border.left_and_right, scaled.height + 2 * border.top_and_bottom};
  }

  /// Where the scaled image lies in it.
  cv::Rect Inner() const { return {{border.left_and_right, border.top_and_bottom}, scaled}; }

  /// A coordinate of the image in the square.
  double ToSquareX(double x) const {
    return ToSquare(x, source.width, scaled.width, border.left_and_right);
  }
  double ToSquareY(double y) const {
    return ToSquare(y, source.height, scaled.height, border.top_and_bottom);
  }

  /// A coordinate of the square in the image, clipped to it. `scaled` is not empty.
  float ToSourceX(float x) const {
    return ToSource(x, source.width, scaled.width, border.left_and_right);
  }
  float ToSourceY(float y) const {
    return ToSource(y, source.height, scaled.height, border.top_and_bottom);
  }

  cv::Size source;
  cv::Size scaled;
  SquareBorder border;

 private:
  static double ToSquare(double p, int length, int scaled_length, int border_length) {
    return p * scaled_length / length + border_length;
  }
  static float ToSource(float p, int length, int scaled_length, int border_length) {
    const float unclipped = (p - static_cast<float>(border_length)) * static_cast<float>(length) /
                            static_cast<float>(scaled_length);
    return std::clamp(unclipped, 0.0F, static_cast<float>(length));
  }
};

}  // namespace nuvik::geometry
