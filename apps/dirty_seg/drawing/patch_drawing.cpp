#include "drawing/patch_drawing.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <string>

#include "drawing/colour.h"
#include "drawing/overlay.h"
#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

// Line width for a frame of 1080 lines, at least one pixel.
int LineWidth(const cv::Mat& picture) { return std::max(1, picture.rows / 360); }

void DrawGap(const cv::Rect& gap, cv::Mat& picture) {
  const cv::Rect visible = gap & cv::Rect(cv::Point(0, 0), picture.size());
  if (visible.empty()) return;
  cv::Mat target = picture(visible);
  target *= 0.4;
  const cv::Point last(visible.width - 1, visible.height - 1);
  cv::line(target, {0, 0}, last, kWhite, 1, cv::LINE_AA);
  cv::line(target, {0, last.y}, {last.x, 0}, kWhite, 1, cv::LINE_AA);
}

// Drawn inwards, step by step, so that patches side by side do not hide each other's outlines.
void DrawPatch(const ListedPatch& patch, cv::Mat& picture) {
  const int line = LineWidth(picture);
  cv::Rect outline = nuvik::geometry::ClipFarEdges(patch.rectangle, picture.size());
  const int inset = line * (1 + static_cast<int>(patch.index % 3));
  outline =
      cv::Rect(outline.tl() + cv::Point(inset, inset), outline.br() - cv::Point(inset, inset));
  if (outline.width <= 0 || outline.height <= 0) return;
  const cv::Scalar colour = LabelColour(static_cast<int>(patch.index), false);
  cv::rectangle(picture, outline, colour, line);

  const std::string text = std::to_string(patch.index);
  const double scale = 0.4 * line;
  int baseline = 0;
  const cv::Size size = cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, scale, line, &baseline);
  const int margin = 2 * line;
  const cv::Rect tag(outline.tl(), size + cv::Size(2 * margin, 2 * margin));
  cv::rectangle(picture, tag, colour, cv::FILLED);
  cv::putText(picture, text, {tag.x + margin, tag.br().y - margin}, cv::FONT_HERSHEY_SIMPLEX, scale,
              TextColourOn(colour), line, cv::LINE_AA);
}

}  // namespace

cv::Mat DrawPatches(const cv::Mat& picture, const std::vector<ListedPatch>& patches,
                    const std::vector<cv::Rect>& gaps) {
  cv::Mat drawn = picture.clone();
  for (const cv::Rect& gap : gaps) DrawGap(gap, drawn);
  for (const ListedPatch& patch : patches) DrawPatch(patch, drawn);
  return drawn;
}

}  // namespace dirty_seg
