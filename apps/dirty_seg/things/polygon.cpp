#include "things/polygon.h"

#include <map>
#include <opencv2/imgproc.hpp>
#include <utility>

namespace dirty_seg {

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
