#include "detector/instance_mask.h"

#include <map>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "geometry/image_box.h"

namespace dirty_seg {

cv::Mat CutInstanceMask(const DirtyStatusResultData& result, std::size_t detection,
                        const cv::Size& size) {
  cv::Mat cut = cv::Mat::zeros(size, CV_8UC1);
  const auto label_mask = result.label_masks.find(result.labels[detection]);
  const auto box = nuvik::geometry::ClampToImage(result.bboxes[detection], size);
  if (label_mask == result.label_masks.end() || !box) return cut;
  cut(*box).setTo(255, label_mask->second(*box));
  return cut;
}

std::vector<Polygon> FindPolygons(const cv::Mat& mask) {
  std::vector<std::vector<cv::Point>> outlines;
  std::vector<cv::Vec4i> hierarchy;  // next, previous, first child, parent
  cv::findContours(mask, outlines, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_SIMPLE);
  constexpr int kParent = 3;
  std::vector<Polygon> polygons;
  std::map<int, std::size_t> place;  // of an outer outline among the polygons
  for (std::size_t i = 0; i < outlines.size(); ++i) {
    if (hierarchy[i][kParent] >= 0) continue;
    place[static_cast<int>(i)] = polygons.size();
    polygons.push_back({std::move(outlines[i]), {}});
  }
  for (std::size_t i = 0; i < outlines.size(); ++i) {
    const int parent = hierarchy[i][kParent];
    if (parent >= 0) polygons[place.at(parent)].holes.push_back(std::move(outlines[i]));
  }
  return polygons;
}

}  // namespace dirty_seg
