// Masks as polygons.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dirty_seg {

/// An area's outline in pixel centres, and the outlines of its holes.
struct Polygon {
  std::vector<cv::Point> outer;
  std::vector<std::vector<cv::Point>> holes;
};

/// The separate areas of a mask (CV_8UC1), as polygons. Outer outlines run through the area's own
/// outermost pixels, those of holes through the area's pixels around the hole; straight runs are
/// only their ends. An area of one pixel's width has an outline without area: a polygon holds less
/// than the mask.
std::vector<Polygon> FindPolygons(const cv::Mat& mask);

}  // namespace dirty_seg
