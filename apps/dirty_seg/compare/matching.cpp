#include "compare/matching.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace dirty_seg {
namespace {

struct Overlap {
  double iou;
  std::size_t a;
  std::size_t b;
};

double Area(const std::array<float, 4>& box) {
  const double width = static_cast<double>(box[2]) - static_cast<double>(box[0]);
  const double height = static_cast<double>(box[3]) - static_cast<double>(box[1]);
  return std::max(0.0, width) * std::max(0.0, height);
}

double BoxDistance(const Detection& a, const Detection& b) {
  double distance = 0.0;
  for (std::size_t i = 0; i < a.box.size(); ++i) {
    distance =
        std::max(distance, std::abs(static_cast<double>(a.box[i]) - static_cast<double>(b.box[i])));
  }
  return distance;
}

double ScoreDifference(double a, double b) {
  if (std::isnan(a) && std::isnan(b)) return 0.0;
  if (std::isnan(a) || std::isnan(b)) return std::numeric_limits<double>::infinity();
  return std::abs(a - b);
}

// What is not paired yet.
class Rest {
 public:
  Rest(const std::vector<Detection>& a, const std::vector<Detection>& b)
      : a_(a), b_(b), is_free_in_a_(a.size(), true), is_free_in_b_(b.size(), true) {}

  std::vector<DetectionPair> Pair(bool same_label) {
    std::vector<DetectionPair> pairs;
    for (const Overlap& overlap : Overlaps(same_label)) {
      if (!is_free_in_a_[overlap.a] || !is_free_in_b_[overlap.b]) continue;
      is_free_in_a_[overlap.a] = is_free_in_b_[overlap.b] = false;
      const Detection& in_a = a_[overlap.a];
      const Detection& in_b = b_[overlap.b];
      pairs.push_back(
          {overlap.a, overlap.b, BoxDistance(in_a, in_b),
           ScoreDifference(static_cast<double>(in_a.score), static_cast<double>(in_b.score))});
    }
    return pairs;
  }

  std::vector<std::size_t> InA() const { return Free(is_free_in_a_); }
  std::vector<std::size_t> InB() const { return Free(is_free_in_b_); }

 private:
  // Best first.
  std::vector<Overlap> Overlaps(bool same_label) const {
    std::vector<Overlap> overlaps;
    for (const std::size_t i : InA()) {
      for (const std::size_t j : InB()) {
        if ((a_[i].label == b_[j].label) != same_label) continue;
        const double iou = BoxIou(a_[i], b_[j]);
        if (iou >= kMinOverlap) overlaps.push_back({iou, i, j});
      }
    }
    std::stable_sort(overlaps.begin(), overlaps.end(),
                     [](const Overlap& x, const Overlap& y) { return x.iou > y.iou; });
    return overlaps;
  }

  static std::vector<std::size_t> Free(const std::vector<bool>& is_free) {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < is_free.size(); ++i) {
      if (is_free[i]) indices.push_back(i);
    }
    return indices;
  }

  const std::vector<Detection>& a_;
  const std::vector<Detection>& b_;
  std::vector<bool> is_free_in_a_;
  std::vector<bool> is_free_in_b_;
};

int PixelCount(const cv::Mat& mask) { return mask.empty() ? 0 : cv::countNonZero(mask); }

}  // namespace

Matching MatchDetections(const std::vector<Detection>& a, const std::vector<Detection>& b) {
  Rest rest(a, b);
  Matching matching;
  matching.matched = rest.Pair(true);
  matching.class_changes = rest.Pair(false);
  matching.only_in_a = rest.InA();
  matching.only_in_b = rest.InB();
  return matching;
}

double BoxIou(const Detection& a, const Detection& b) {
  if (a.box == b.box) return 1.0;
  const std::array<float, 4> shared{std::max(a.box[0], b.box[0]), std::max(a.box[1], b.box[1]),
                                    std::min(a.box[2], b.box[2]), std::min(a.box[3], b.box[3])};
  const double intersection = Area(shared);
  const double both = Area(a.box) + Area(b.box) - intersection;
  return both > 0.0 ? intersection / both : 0.0;
}

double MaskIou(const cv::Mat& a, const cv::Mat& b) {
  const int in_a = PixelCount(a);
  const int in_b = PixelCount(b);
  if (in_a == 0 && in_b == 0) return 1.0;
  if (a.size() != b.size()) return 0.0;
  const int in_both = cv::countNonZero((a != 0) & (b != 0));
  return static_cast<double>(in_both) / (static_cast<double>(in_a) + in_b - in_both);
}

}  // namespace dirty_seg
