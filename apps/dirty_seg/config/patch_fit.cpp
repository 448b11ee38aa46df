#include "config/patch_fit.h"

#include <algorithm>
#include <cstdlib>

#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

constexpr int kReach = 64;

}  // namespace

bool IsWithin(const PatchFit& fit, const FitLimits& limits) {
  return fit.grey <= limits.grey && fit.shrunk <= limits.shrunk &&
         1.0 / fit.shrunk <= limits.enlarged;
}

PatchFit FitPatch(const cv::Size& patch, int side) {
  const geometry::Letterbox letterbox(patch, side);
  PatchFit fit;
  fit.scaled = letterbox.scaled;
  fit.square = letterbox.Padded();
  fit.grey = 1.0 - fit.scaled.area() / (static_cast<double>(side) * side);
  fit.shrunk = std::max(patch.width, patch.height) / static_cast<double>(side);
  fit.is_whole = !fit.scaled.empty() && fit.square == cv::Size(side, side);
  return fit;
}

std::vector<cv::Size> NearestWholeSizes(const cv::Size& patch, int side, const cv::Size& most) {
  constexpr std::size_t kMaxSizes = 2;
  std::vector<cv::Size> sizes;
  // Rings of equal distance; within one, the width is changed last.
  for (int distance = 0; distance <= 2 * kReach && sizes.size() < kMaxSizes; ++distance) {
    for (int across = 0; across <= std::min(distance, kReach); ++across) {
      const int down = distance - across;
      if (down > kReach) continue;
      for (const cv::Size& step : {cv::Size(across, down), cv::Size(across, -down),
                                   cv::Size(-across, down), cv::Size(-across, -down)}) {
        const cv::Size size = patch + step;
        if (size.width < 1 || size.height < 1 || size.width > most.width ||
            size.height > most.height || !FitPatch(size, side).is_whole) {
          continue;
        }
        if (std::find(sizes.begin(), sizes.end(), size) == sizes.end()) sizes.push_back(size);
      }
    }
  }
  if (sizes.size() > kMaxSizes) sizes.resize(kMaxSizes);
  return sizes;
}

cv::Size SmallestWholeSize(const cv::Size& least, int side, const cv::Size& most) {
  for (int more = 0; more <= 2 * kReach; ++more) {
    for (int across = 0; across <= more; ++across) {
      const cv::Size size(least.width + across, least.height + more - across);
      if (size.width > most.width || size.height > most.height) continue;
      if (FitPatch(size, side).is_whole) return size;
    }
  }
  return {};
}

}  // namespace dirty_seg
