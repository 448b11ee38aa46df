#include "host/patch_coverage.h"

#include <algorithm>
#include <cstddef>

#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

void SortUnique(std::vector<int>& values) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
}

// Joins it to the one above of the same width, if there is one.
void AddGap(const cv::Rect& gap, std::vector<cv::Rect>& gaps) {
  for (cv::Rect& above : gaps) {
    if (above.x != gap.x || above.width != gap.width || above.br().y != gap.y) continue;
    above.height += gap.height;
    return;
  }
  gaps.push_back(gap);
}

}  // namespace

Coverage CoverFrame(const std::vector<cv::Rect>& patches) {
  const cv::Rect frame(0, 0, geometry::kFrameWidth, geometry::kFrameHeight);
  // Between neighbouring edges, every pixel lies in the same patches.
  std::vector<int> xs{0, frame.width};
  std::vector<int> ys{0, frame.height};
  std::vector<cv::Rect> visible;
  for (const cv::Rect& patch : patches) {
    visible.push_back(patch & frame);
    if (visible.back().empty()) continue;
    xs.insert(xs.end(), {visible.back().x, visible.back().br().x});
    ys.insert(ys.end(), {visible.back().y, visible.back().br().y});
  }
  SortUnique(xs);
  SortUnique(ys);

  Coverage coverage;
  for (std::size_t row = 0; row + 1 < ys.size(); ++row) {
    cv::Rect gap;
    for (std::size_t column = 0; column + 1 < xs.size(); ++column) {
      const cv::Rect cell(cv::Point(xs[column], ys[row]), cv::Point(xs[column + 1], ys[row + 1]));
      const auto count =
          std::count_if(visible.begin(), visible.end(),
                        [&cell](const cv::Rect& patch) { return patch.contains(cell.tl()); });
      const double share = static_cast<double>(cell.area()) / frame.area();
      if (count > 1) coverage.repeated_share += share;
      if (count == 0) {
        coverage.gap_share += share;
        gap |= cell;
      } else if (!gap.empty()) {
        AddGap(gap, coverage.gaps);
        gap = {};
      }
    }
    if (!gap.empty()) AddGap(gap, coverage.gaps);
  }
  return coverage;
}

}  // namespace dirty_seg
