#include "frames/frame_fit.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "base/errors.h"
#include "base/geometry_text.h"
#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

const cv::Size kFrame = geometry::FrameSize();

// A side never becomes 0, however extreme the picture.
int ScaledSide(int side, double scale, int limit) {
  return std::clamp(static_cast<int>(std::lround(side * scale)), 1, limit);
}

// Averages pixels if there are more than in the frame, so that none is skipped.
cv::Mat Scaled(const cv::Mat& picture, const FrameFit& fit) {
  if (!fit.IsScaled()) return picture;
  cv::Mat scaled;
  cv::resize(picture, scaled, fit.placed, 0, 0,
             fit.scale < 1.0 ? cv::INTER_AREA : cv::INTER_LINEAR);
  return scaled;
}

}  // namespace

bool FrameFit::IsWholeFrame() const { return picture == kFrame; }

FitMode FitModeOf(const std::string& word) {
  const auto* const at = std::find(kFitWords.begin(), kFitWords.end(), word);
  return static_cast<FitMode>(at - kFitWords.begin());
}

FrameFit FitToFrame(const cv::Size& picture, FitMode mode) {
  if (mode == FitMode::kScale) {
    const double scale = std::min(static_cast<double>(kFrame.width) / picture.width,
                                  static_cast<double>(kFrame.height) / picture.height);
    return {picture,
            {ScaledSide(picture.width, scale, kFrame.width),
             ScaledSide(picture.height, scale, kFrame.height)},
            scale};
  }
  if (picture.width > kFrame.width || picture.height > kFrame.height) {
    throw InputError(
        fmt::format("is {}, larger than the frame of {}; expected one that fits in, or --fit scale",
                    SizeText(picture), SizeText(kFrame)));
  }
  return {picture, picture, 1.0};
}

std::shared_ptr<cv::Mat> PlaceInFrame(const std::shared_ptr<cv::Mat>& picture,
                                      const FrameFit& fit) {
  if (fit.IsWholeFrame()) return picture;
  auto frame = std::make_shared<cv::Mat>();
  cv::copyMakeBorder(Scaled(*picture, fit), *frame, 0, kFrame.height - fit.placed.height, 0,
                     kFrame.width - fit.placed.width, cv::BORDER_CONSTANT,
                     cv::Scalar::all(geometry::kGrey));
  return frame;
}

std::string FindReachFault(const std::vector<cv::Rect>& patches, const FrameFit& fit) {
  const cv::Rect placed(cv::Point(0, 0), fit.placed);
  const bool is_reached =
      std::any_of(patches.begin(), patches.end(),
                  [&placed](const cv::Rect& patch) { return placed.contains(patch.tl()); });
  if (is_reached) return "";
  return fmt::format(
      "no patch reaches into the picture, which takes {} at the left top of the frame",
      SizeText(fit.placed));
}

cv::Mat MaskInPicture(const cv::Mat& mask, const FrameFit& fit) {
  cv::Mat placed = mask(cv::Rect(cv::Point(0, 0), fit.placed));
  if (!fit.IsScaled()) return placed;
  cv::Mat scaled;
  cv::resize(placed, scaled, fit.picture, 0, 0, cv::INTER_NEAREST_EXACT);
  return scaled;
}

DirtyStatusResultData ResultInPicture(const DirtyStatusResultData& result, const FrameFit& fit) {
  DirtyStatusResultData shown = result;
  for (std::vector<float>& box : shown.bboxes) box = BoxInPicture(box, fit);
  for (auto& [label, mask] : shown.label_masks) mask = MaskInPicture(mask, fit);
  return shown;
}

}  // namespace dirty_seg
