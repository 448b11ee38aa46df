#include "drawing/overlay.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <string>

#include "base/mask_bounds.h"
#include "drawing/colour.h"
#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

using nuvik::geometry::SaturateToInt;

constexpr double kOpacity = 0.4;
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

// Sizes for a picture of 1080 lines, scaled to the given picture as far as text stays legible.
struct Pen {
  explicit Pen(const cv::Size& picture)
      : scale(std::clamp(std::min(picture.width, picture.height) / 1080.0, 0.4, 4.0)),
        line(std::max(1, static_cast<int>(std::lround(2.0 * scale)))),
        text_line(std::max(1, static_cast<int>(std::lround(1.2 * scale)))),
        font_scale(std::max(0.4, 0.55 * scale)),
        margin(std::max(2, static_cast<int>(std::lround(4.0 * scale)))) {}

  double scale;
  int line;
  int text_line;
  double font_scale;
  int margin;
};

cv::Rect Bounds(const cv::Mat& picture) { return {cv::Point(0, 0), picture.size()}; }

// What each value of the three channels becomes under the colour.
cv::Mat TintsOf(const cv::Scalar& colour) {
  cv::Mat values(1, 256, CV_8UC3);
  for (int value = 0; value < values.cols; ++value) {
    values.at<cv::Vec3b>(value) = cv::Vec3b::all(static_cast<unsigned char>(value));
  }
  cv::Mat tints;
  cv::addWeighted(values, 1.0 - kOpacity, cv::Mat(values.size(), values.type(), colour), kOpacity,
                  0.0, tints);
  return tints;
}

// The masked pixels only: a mask is a small part of the rectangle around it.
void Tint(const cv::Mat& mask, const cv::Scalar& colour, cv::Mat& picture) {
  const cv::Mat tints = TintsOf(colour);
  const auto* table = tints.ptr<cv::Vec3b>();
  for (int y = 0; y < mask.rows; ++y) {
    const unsigned char* inside = mask.ptr(y);
    auto* pixels = picture.ptr<cv::Vec3b>(y);
    for (int x = 0; x < mask.cols; ++x) {
      if (inside[x] == 0) continue;
      cv::Vec3b& pixel = pixels[x];
      pixel = {table[pixel[0]][0], table[pixel[1]][1], table[pixel[2]][2]};
    }
  }
}

void TintMask(const cv::Mat& whole_mask, const cv::Scalar& colour, const Pen& pen,
              cv::Mat& picture) {
  const cv::Rect visible = MaskBounds(whole_mask) & Bounds(picture);
  if (visible.empty()) return;
  const cv::Mat mask = whole_mask(visible);
  cv::Mat target = picture(visible);
  Tint(mask, colour, target);
  std::vector<std::vector<cv::Point>> outlines;
  cv::findContours(mask, outlines, cv::RETR_CCOMP, cv::CHAIN_APPROX_NONE);
  cv::drawContours(target, outlines, -1, colour, pen.line);
}

// Whole pixels, clamped a little outside the picture, where nothing of a line is visible.
cv::Rect ToPixels(const std::array<float, 4>& bbox, const cv::Mat& picture) {
  const auto clamp = [](float value, int limit) {
    return std::clamp(SaturateToInt(std::round(value)), -limit, 2 * limit);
  };
  return {cv::Point(clamp(bbox[0], picture.cols), clamp(bbox[1], picture.rows)),
          cv::Point(clamp(bbox[2], picture.cols), clamp(bbox[3], picture.rows))};
}

cv::Rect Grown(const cv::Rect& box, int by) {
  return {box.x - by, box.y - by, box.width + 2 * by, box.height + 2 * by};
}

void DrawBox(const cv::Rect& box, const cv::Scalar& colour, const Pen& pen, cv::Mat& picture) {
  // Sets the line off from any background; around the thinnest one it would be all that is seen.
  if (pen.line > 1) cv::rectangle(picture, box, kBlack, pen.line + 2);
  cv::rectangle(picture, box, colour, pen.line);
}

struct Tag {
  std::string text;
  double font_scale;
  cv::Size text_size;
  cv::Size size;
};

Tag MakeTag(const std::string& text, const Pen& pen, const cv::Size& picture_size) {
  int baseline = 0;
  const cv::Size full = cv::getTextSize(text, kFont, pen.font_scale, pen.text_line, &baseline);
  const int room = std::max(1, picture_size.width - 2 * pen.margin);
  const double shrink = std::min(1.0, static_cast<double>(room) / full.width);
  Tag tag{text, pen.font_scale * shrink, {}, {}};
  tag.text_size = cv::getTextSize(text, kFont, tag.font_scale, pen.text_line, &baseline);
  tag.size = cv::Size(tag.text_size.width + 2 * pen.margin, tag.text_size.height + 2 * pen.margin);
  return tag;
}

void DrawTag(const Tag& tag, const cv::Rect& place, const cv::Scalar& colour, const Pen& pen,
             cv::Mat& picture) {
  cv::rectangle(picture, place, colour, cv::FILLED);
  cv::rectangle(picture, place, kBlack, 1);
  const cv::Point origin(place.x + pen.margin, place.y + pen.margin + tag.text_size.height);
  cv::putText(picture, tag.text, origin, kFont, tag.font_scale, TextColourOn(colour), pen.text_line,
              cv::LINE_AA);
}

// Lowest score first, so that the best is drawn on top.
std::vector<std::size_t> DrawingOrder(const std::vector<Finding>& findings) {
  std::vector<std::size_t> order(findings.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&findings](std::size_t a, std::size_t b) {
    return findings[a].score < findings[b].score;
  });
  return order;
}

std::string TagText(const Labels& labels, const Finding& finding) {
  return fmt::format("{}{} {:.2f}", finding.kind.is_confirmed ? "! " : "",
                     labels.Text(finding.kind), finding.score);
}

}  // namespace

cv::Scalar LabelColour(int label, bool is_confirmed_faeces) {
  // The set of Okabe and Ito without black and vermilion, which is too near to the red of Tol's
  // vibrant set that is kept apart.
  static const std::array<cv::Scalar, 6> kColours{{{0, 159, 230},
                                                   {233, 180, 86},
                                                   {115, 158, 0},
                                                   {66, 228, 240},
                                                   {178, 114, 0},
                                                   {167, 121, 204}}};
  if (is_confirmed_faeces) return {17, 51, 204};
  return kColours[static_cast<unsigned>(label) % kColours.size()];
}

cv::Rect PlaceTag(const cv::Rect& box, const cv::Size& size, const cv::Size& picture_size,
                  const std::vector<cv::Rect>& taken) {
  const auto inside = [&](int x, int y) {
    return cv::Rect(std::max(0, std::min(x, picture_size.width - size.width)),
                    std::max(0, std::min(y, picture_size.height - size.height)), size.width,
                    size.height);
  };
  const cv::Rect first = inside(box.x, box.y - size.height);
  for (int y = first.y; y <= box.br().y; y += size.height) {
    const cv::Rect place = inside(box.x, y);
    const bool is_free = std::none_of(taken.begin(), taken.end(), [&place](const cv::Rect& other) {
      return !(place & other).empty();
    });
    if (is_free) return place;
  }
  return first;
}

cv::Mat DrawOverlay(const cv::Mat& picture, const Shown& shown, const Labels& labels) {
  const std::vector<Finding>& findings = shown.findings;
  cv::Mat overlay = picture.clone();
  const Pen pen(picture.size());
  const auto colour_of = [](const Kind& kind) {
    return LabelColour(kind.label, kind.is_confirmed);
  };
  for (const auto& [kind, mask] : shown.masks) TintMask(mask, colour_of(kind), pen, overlay);
  const std::vector<std::size_t> order = DrawingOrder(findings);
  std::vector<cv::Rect> outlines(order.size());
  for (const std::size_t i : order) {
    const Kind& kind = findings[i].kind;
    outlines[i] = ToPixels(findings[i].box, picture);
    DrawBox(outlines[i], colour_of(kind), pen, overlay);
    if (!kind.is_confirmed) continue;
    outlines[i] = Grown(outlines[i], 3 * pen.line);
    DrawBox(outlines[i], colour_of(kind), pen, overlay);
  }
  // Tags come last, so that no box crosses one. The best choose their places first.
  std::vector<cv::Rect> taken;
  for (auto i = order.rbegin(); i != order.rend(); ++i) {
    if ((outlines[*i] & Bounds(picture)).empty()) continue;
    const Tag tag = MakeTag(TagText(labels, findings[*i]), pen, picture.size());
    taken.push_back(PlaceTag(outlines[*i], tag.size, picture.size(), taken));
    DrawTag(tag, taken.back(), colour_of(findings[*i].kind), pen, overlay);
  }
  return overlay;
}

}  // namespace dirty_seg
