#include "detector/part.h"

#include <utility>

#include "base/mask_bounds.h"
#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

using nuvik::model::Object;

// A mask of the patch, cut to the frame and to its set pixels.
void PlaceMask(const cv::Mat& mask, Part& part) {
  if (mask.empty()) return;
  const cv::Rect frame(cv::Point(0, 0), nuvik::geometry::FrameSize());
  const cv::Rect visible = cv::Rect(part.patch.tl(), mask.size()) & frame;
  const cv::Rect set = MaskBounds(mask) & (visible - part.patch.tl());
  if (set.empty()) return;
  part.area = set + part.patch.tl();
  part.mask = mask(set).clone();
}

}  // namespace

std::vector<Part> PartsOf(const std::vector<std::vector<Object>>& lists,
                          const std::vector<cv::Rect>& patches) {
  const cv::Rect whole(cv::Point(0, 0), nuvik::geometry::FrameSize());
  std::vector<Part> parts;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    for (const Object& object : lists[i]) {
      Part part;
      part.patch_index = i;
      part.network_label = object.label;
      part.patch =
          i < patches.size() ? nuvik::geometry::ClipFarEdges(patches[i], whole.size()) : whole;
      PlaceMask(object.mask, part);
      parts.push_back(std::move(part));
    }
  }
  return parts;
}

}  // namespace dirty_seg
