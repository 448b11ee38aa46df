// Masks and polygons of single detections.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "detector/frame_detector.h"

namespace dirty_seg {

/// The detector unites the masks of a label, so that of one detection is known only as the label's
/// mask cut to the detection's box: where boxes of one label overlap, it may hold pixels of the
/// other. CV_8UC1, of `size` like the label masks, 0 or 255; all 0 for a detection without a mask.
cv::Mat CutInstanceMask(const DirtyStatusResultData& result, std::size_t detection,
                        const cv::Size& size);

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
