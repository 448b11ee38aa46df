#include "config/patch_coverage.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

void SortUnique(std::vector<int>& values) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
}

// How many patches lie over each cell of a grid whose lines are all their edges: between two
// neighbouring lines, every pixel lies in the same patches.
class CellCounts {
 public:
  explicit CellCounts(const std::vector<cv::Rect>& patches) {
    const cv::Rect frame({0, 0}, geometry::FrameSize());
    xs_ = {0, frame.width};
    ys_ = {0, frame.height};
    std::vector<cv::Rect> visible;
    for (const cv::Rect& patch : patches) {
      const cv::Rect part = patch & frame;
      if (part.empty()) continue;
      visible.push_back(part);
      xs_.insert(xs_.end(), {part.x, part.br().x});
      ys_.insert(ys_.end(), {part.y, part.br().y});
    }
    SortUnique(xs_);
    SortUnique(ys_);
    // Steps at the corners, summed up to counts.
    counts_ = cv::Mat::zeros(static_cast<int>(ys_.size()), static_cast<int>(xs_.size()), CV_32S);
    for (const cv::Rect& part : visible) Add(part);
    for (int y = 0; y < counts_.rows; ++y) {
      for (int x = 0; x < counts_.cols; ++x) {
        At(y, x) += (x > 0 ? At(y, x - 1) : 0) + (y > 0 ? At(y - 1, x) : 0) -
                    (x > 0 && y > 0 ? At(y - 1, x - 1) : 0);
      }
    }
  }

  int rows() const { return counts_.rows - 1; }
  int columns() const { return counts_.cols - 1; }
  int count(int row, int column) const { return counts_.at<int>(row, column); }
  cv::Rect cell(int row, int column) const {
    return {cv::Point(xs_[Index(column)], ys_[Index(row)]),
            cv::Point(xs_[Index(column + 1)], ys_[Index(row + 1)])};
  }

 private:
  static std::size_t Index(int i) { return static_cast<std::size_t>(i); }

  static int LineOf(const std::vector<int>& lines, int edge) {
    return static_cast<int>(std::lower_bound(lines.begin(), lines.end(), edge) - lines.begin());
  }

  int& At(int y, int x) { return counts_.at<int>(y, x); }

  void Add(const cv::Rect& part) {
    const int left = LineOf(xs_, part.x);
    const int right = LineOf(xs_, part.br().x);
    const int top = LineOf(ys_, part.y);
    const int bottom = LineOf(ys_, part.br().y);
    ++At(top, left);
    --At(top, right);
    --At(bottom, left);
    ++At(bottom, right);
  }

  std::vector<int> xs_;
  std::vector<int> ys_;
  cv::Mat counts_;
};

// Collects gaps row by row; one that continues in the next row with the same width is extended.
class GapList {
 public:
  void Add(const cv::Rect& gap) {
    if (gap.empty()) return;
    const auto [last, is_new] = last_.try_emplace({gap.x, gap.width}, gaps_.size());
    if (!is_new && gaps_[last->second].br().y == gap.y) {
      gaps_[last->second].height += gap.height;
      return;
    }
    last->second = gaps_.size();
    gaps_.push_back(gap);
  }

  std::vector<cv::Rect> Take() { return std::move(gaps_); }

 private:
  std::vector<cv::Rect> gaps_;
  std::map<std::pair<int, int>, std::size_t> last_;  // by x and width
};

}  // namespace

Coverage CoverFrame(const std::vector<cv::Rect>& patches) {
  const double frame_area = geometry::FrameSize().area();
  const CellCounts cells(patches);
  Coverage coverage;
  GapList gaps;
  for (int row = 0; row < cells.rows(); ++row) {
    cv::Rect gap;
    for (int column = 0; column < cells.columns(); ++column) {
      const cv::Rect cell = cells.cell(row, column);
      const int count = cells.count(row, column);
      if (count > 1) coverage.repeated_share += cell.area() / frame_area;
      if (count == 0) {
        coverage.gap_share += cell.area() / frame_area;
        gap |= cell;
      } else {
        gaps.Add(gap);
        gap = {};
      }
    }
    gaps.Add(gap);
  }
  coverage.gaps = gaps.Take();
  return coverage;
}

}  // namespace dirty_seg
