#include "support/reference_decoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <utility>

namespace nuvik::test {
namespace {

// One axis of the way from patch to network pixels.
struct Axis {
  int length;
  int scaled;
  int border;

  double ToNetwork(double patch) const { return patch * scaled / length + border; }
  double ToPatch(double network) const { return (network - border) * length / scaled; }
};

std::pair<Axis, Axis> Axes(const cv::Size& size, int side) {
  // The crop computes its size in float and truncates it.
  const float scale =
      static_cast<float>(side) / static_cast<float>(std::max(size.width, size.height));
  const int width = static_cast<int>(static_cast<float>(size.width) * scale);
  const int height = static_cast<int>(static_cast<float>(size.height) * scale);
  const int square = std::max(width, height);
  return {{size.width, width, (square - width) / 2}, {size.height, height, (square - height) / 2}};
}

// One anchor's detection, corners in network pixels.
struct Box {
  int anchor;
  int label;
  float score;
  double x1;
  double y1;
  double x2;
  double y2;
};

double Intersection(const Box& a, const Box& b) {
  const double width = std::min(a.x2, b.x2) - std::max(a.x1, b.x1);
  const double height = std::min(a.y2, b.y2) - std::max(a.y1, b.y1);
  return width > 0 && height > 0 ? width * height : 0;
}

double IntersectionOverUnion(const Box& a, const Box& b) {
  const double common = Intersection(a, b);
  const double both = (a.x2 - a.x1) * (a.y2 - a.y1) + (b.x2 - b.x1) * (b.y2 - b.y1) - common;
  return common > 0 ? common / both : 0;
}

class SlowDecoder {
 public:
  SlowDecoder(const SegmentationOutputs& outputs, int slot, const cv::Size& size,
              const ReferenceOptions& options)
      : outputs_(outputs), layout_(outputs.layout()), slot_(slot), size_(size), options_(options) {
    std::tie(x_axis_, y_axis_) = Axes(size, layout_.input_side);
  }

  ReferenceResult Decode() {
    std::vector<Box> boxes;
    for (int anchor = 0; anchor < layout_.anchors(); ++anchor) {
      if (IsFinite(anchor)) AddBox(anchor, boxes);
    }
    std::stable_sort(boxes.begin(), boxes.end(),
                     [](const Box& a, const Box& b) { return a.score > b.score; });
    std::vector<Box> kept;
    for (const Box& box : boxes) {
      if (kept.size() < options_.max_detections && !IsSuppressed(box, kept)) kept.push_back(box);
    }
    for (const Box& box : kept) result_.objects.push_back(MakeObject(box));
    return result_;
  }

 private:
  float At(int channel, int anchor) const { return outputs_.Prediction(slot_, channel, anchor); }

  float Coefficient(int k, int anchor) const { return At(4 + layout_.classes + k, anchor); }

  bool IsFinite(int anchor) const {
    for (int channel = 0; channel < 4; ++channel) {
      if (!std::isfinite(At(channel, anchor))) return false;
    }
    for (int k = 0; k < layout_.coefficients; ++k) {
      if (!std::isfinite(Coefficient(k, anchor))) return false;
    }
    return true;
  }

  void AddBox(int anchor, std::vector<Box>& boxes) {
    int label = -1;
    float score = 0;
    for (int c = 0; c < layout_.classes; ++c) {
      const float value = At(4 + c, anchor);
      if (std::isfinite(value) && (label < 0 || value > score)) {
        label = c;
        score = value;
      }
    }
    if (label < 0 || !(score > options_.score_threshold)) return;
    const double x = At(0, anchor);
    const double y = At(1, anchor);
    const double width = At(2, anchor);
    const double height = At(3, anchor);
    const Box box{anchor,         label,         score,         x - width / 2,
                  y - height / 2, x + width / 2, y + height / 2};
    if (ReachesIntoPatch(box)) boxes.push_back(box);
  }

  bool ReachesIntoPatch(const Box& box) {
    const double width = std::min<double>(x_axis_.ToPatch(box.x2), size_.width) -
                         std::max(x_axis_.ToPatch(box.x1), 0.0);
    const double height = std::min<double>(y_axis_.ToPatch(box.y2), size_.height) -
                          std::max(y_axis_.ToPatch(box.y1), 0.0);
    // A box of no width at all is empty in any precision.
    const double inside = std::min(width, height);
    if (inside != 0) result_.nearest_inside = std::min(result_.nearest_inside, std::abs(inside));
    return inside > 0;
  }

  bool IsSuppressed(const Box& box, const std::vector<Box>& kept) {
    for (const Box& better : kept) {
      if (better.label != box.label && !options_.class_agnostic) continue;
      const double overlap = IntersectionOverUnion(better, box);
      result_.nearest_overlap =
          std::min(result_.nearest_overlap, std::abs(overlap - options_.iou_threshold));
      if (overlap > options_.iou_threshold) return true;
    }
    return false;
  }

  ReferenceObject MakeObject(const Box& box) const {
    ReferenceObject object{};
    object.x1 = std::max(x_axis_.ToPatch(box.x1), 0.0);
    object.y1 = std::max(y_axis_.ToPatch(box.y1), 0.0);
    object.x2 = std::min<double>(x_axis_.ToPatch(box.x2), size_.width);
    object.y2 = std::min<double>(y_axis_.ToPatch(box.y2), size_.height);
    object.label = box.label;
    object.score = box.score;
    object.mask = MakeMask(object, box.anchor);
    return object;
  }

  // A prototype cell's logit, and the sum of its terms without their signs.
  struct Cell {
    double logit = 0;
    double magnitude = 0;
  };

  std::vector<Cell> MakeCells(int anchor) const {
    const int side = layout_.proto_side();
    std::vector<Cell> cells(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    for (int row = 0; row < side; ++row) {
      for (int column = 0; column < side; ++column) {
        Cell& cell = cells[static_cast<std::size_t>(row * side + column)];
        for (int k = 0; k < layout_.coefficients; ++k) {
          const double term = static_cast<double>(Coefficient(k, anchor)) *
                              outputs_.Prototype(slot_, k, row, column);
          cell.logit += term;
          cell.magnitude += std::abs(term);
        }
      }
    }
    return cells;
  }

  cv::Mat MakeMask(const ReferenceObject& object, int anchor) const {
    const std::vector<Cell> cells = MakeCells(anchor);
    cv::Mat mask(size_, CV_8UC1);
    for (int y = 0; y < size_.height; ++y) {
      const int row_side = Inside(y, object.y1, object.y2);
      for (int x = 0; x < size_.width; ++x) {
        const int inside = std::min(row_side, Inside(x, object.x1, object.x2));
        int pixel = inside == 0 ? kBackground : Classify(cells, x, y);
        if (inside == 1 && pixel != kBackground) pixel = kNearEdge;
        mask.at<std::uint8_t>(y, x) = static_cast<std::uint8_t>(pixel);
      }
    }
    return mask;
  }

  // 2: pixel `p` is inside [low, high] rounded outwards, 0: it is not, 1: a rounding decides.
  static int Inside(int p, double low, double high) {
    const auto contains = [p](double from, double to) {
      return p >= std::floor(from) && p < std::ceil(to);
    };
    const auto moved = [](double edge, double by) {
      return edge == std::round(edge) ? edge : edge + by;
    };
    if (contains(moved(low, kNearPixel), moved(high, -kNearPixel))) return 2;
    return contains(moved(low, -kNearPixel), moved(high, kNearPixel)) ? 1 : 0;
  }

  int Classify(const std::vector<Cell>& cells, int x, int y) const {
    const int side = layout_.proto_side();
    const double step = static_cast<double>(side) / layout_.input_side;
    const double column = std::clamp(x_axis_.ToNetwork(x + 0.5) * step - 0.5, 0.0, side - 1.0);
    const double row = std::clamp(y_axis_.ToNetwork(y + 0.5) * step - 0.5, 0.0, side - 1.0);
    double logit = 0;
    double magnitude = 0;
    for (const int r : {static_cast<int>(row), static_cast<int>(row) + 1}) {
      for (const int c : {static_cast<int>(column), static_cast<int>(column) + 1}) {
        const double weight = (1 - std::abs(row - r)) * (1 - std::abs(column - c));
        if (weight == 0) continue;
        const Cell& cell = cells[static_cast<std::size_t>(r * side + c)];
        logit += weight * cell.logit;
        magnitude = std::max(magnitude, cell.magnitude);
      }
    }
    // A float sum of n products is off by at most n roundings of the sum of their magnitudes; two
    // interpolations add a handful more.
    const double rounding = (layout_.coefficients + 16) * magnitude / 16777216.0;
    const double threshold = std::log(options_.mask_threshold / (1 - options_.mask_threshold));
    if (!std::isfinite(logit)) return kBackground;
    if (std::abs(logit - threshold) <= rounding) return kNearThreshold;
    return logit > threshold ? kMask : kBackground;
  }

  const SegmentationOutputs& outputs_;
  const HeadLayout& layout_;
  int slot_;
  cv::Size size_;
  ReferenceOptions options_;
  Axis x_axis_{};
  Axis y_axis_{};
  ReferenceResult result_;
};

}  // namespace

ReferenceResult DecodeSlowly(const SegmentationOutputs& outputs, int slot, const cv::Size& size,
                             const ReferenceOptions& options) {
  return SlowDecoder(outputs, slot, size, options).Decode();
}

}  // namespace nuvik::test
