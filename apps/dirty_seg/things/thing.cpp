#include "things/thing.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <tuple>

namespace dirty_seg {
namespace {

// From a border to the farthest pixel that counts as at it.
constexpr int kReach = kMaxBorderGap + 1;

// What lies at most so far apart, in columns and in rows, is near.
struct Reach {
  int x;
  int y;
};
constexpr Reach kTouching{1, 1};
// From a mask that is at a border to one that is at its other side.
constexpr Reach kAcross{2 * kReach - 1, kReach};
constexpr Reach kAcrossDown{kAcross.y, kAcross.x};

cv::Rect Grown(const cv::Rect& area, const Reach& by) {
  return {area.x - by.x, area.y - by.y, area.width + 2 * by.x, area.height + 2 * by.y};
}

cv::Mat MaskAt(const Part& part, const cv::Rect& area) { return part.mask(area - part.area.tl()); }

// Whether a pixel of `a` within `in_a` and one of `b` within `in_b` are near.
bool AreNear(const Part& a, const cv::Rect& in_a, const Part& b, const cv::Rect& in_b,
             const Reach& reach) {
  const cv::Rect place_a = a.area & in_a;
  const cv::Rect place_b = Grown(place_a, reach) & b.area & in_b;
  if (place_a.empty() || place_b.empty()) return false;
  const cv::Rect around = Grown(place_b, reach);
  cv::Mat spread = cv::Mat::zeros(around.size(), CV_8UC1);
  const cv::Rect source = place_a & around;
  // 255, which any value of the other mask has a bit of.
  spread(source - around.tl()).setTo(255, MaskAt(a, source));
  cv::dilate(spread, spread, cv::Mat::ones(2 * reach.y + 1, 2 * reach.x + 1, CV_8UC1), {-1, -1}, 1,
             cv::BORDER_CONSTANT, 0);
  const cv::Mat met = spread(place_b - around.tl()) & MaskAt(b, place_b);
  return cv::countNonZero(met) != 0;
}

// Whether `b` goes on, outside the patch of `a`, where that cuts `a` off.
bool GoesOn(const Part& a, const Part& b) {
  const cv::Rect& patch = a.patch;
  const cv::Rect outside = Grown(patch, {kReach, kReach});
  // Inside the patch along its left and its upper border, and outside along them.
  const cv::Rect in_left(patch.x, patch.y, kReach, patch.height);
  const cv::Rect in_top(patch.x, patch.y, patch.width, kReach);
  const cv::Rect left(outside.x, outside.y, kReach, outside.height);
  const cv::Rect top(outside.x, outside.y, outside.width, kReach);
  const cv::Point to_right(patch.width - kReach, 0);
  const cv::Point to_bottom(0, patch.height - kReach);
  const cv::Point across(2 * kReach, 0);
  const cv::Point down(0, 2 * kReach);
  return AreNear(a, in_left, b, left, kAcross) ||
         AreNear(a, in_left + to_right, b, left + to_right + across, kAcross) ||
         AreNear(a, in_top, b, top, kAcrossDown) ||
         AreNear(a, in_top + to_bottom, b, top + to_bottom + down, kAcrossDown);
}

bool Meet(const Part& a, const Part& b) {
  if (a.patch_index == b.patch_index) return false;
  if ((Grown(a.area, {kAcross.x, kAcross.x}) & b.area).empty()) return false;
  const cv::Rect shared = a.patch & b.patch;
  return AreNear(a, shared, b, shared, kTouching) || GoesOn(a, b) || GoesOn(b, a);
}

// Sets of indices that are joined one by one.
class Groups {
 public:
  explicit Groups(std::size_t count) : leader_(count) {
    std::iota(leader_.begin(), leader_.end(), std::size_t{0});
  }

  std::size_t Leader(std::size_t i) {
    while (leader_[i] != i) i = leader_[i] = leader_[leader_[i]];
    return i;
  }

  void Join(std::size_t a, std::size_t b) { leader_[Leader(b)] = Leader(a); }

 private:
  std::vector<std::size_t> leader_;
};

std::vector<std::vector<std::size_t>> GroupParts(const std::vector<Part>& parts,
                                                 const std::vector<Kind>& kinds) {
  const auto are_alike = [&](std::size_t a, std::size_t b) {
    return kinds[a].label == kinds[b].label || parts[a].network_label == parts[b].network_label;
  };
  Groups groups(parts.size());
  for (std::size_t b = 1; b < parts.size(); ++b) {
    for (std::size_t a = 0; a < b; ++a) {
      if (!are_alike(a, b) || groups.Leader(a) == groups.Leader(b)) continue;
      if (Meet(parts[a], parts[b])) groups.Join(a, b);
    }
  }
  std::map<std::size_t, std::vector<std::size_t>> members;
  for (std::size_t i = 0; i < parts.size(); ++i) members[groups.Leader(i)].push_back(i);
  std::vector<std::vector<std::size_t>> all;
  all.reserve(members.size());
  for (auto& [leader, group] : members) all.push_back(std::move(group));
  return all;
}

void Include(const std::vector<float>& box, std::array<float, 4>& all) {
  for (std::size_t i = 0; i < 2; ++i) {
    all[i] = std::min(all[i], box[i]);
    all[i + 2] = std::max(all[i + 2], box[i + 2]);
  }
}

void Unite(const std::vector<Part>& parts, Thing& thing) {
  for (const std::size_t i : thing.members) thing.area |= parts[i].area;
  thing.mask = cv::Mat::zeros(thing.area.size(), CV_8UC1);
  for (const std::size_t i : thing.members) {
    if (parts[i].area.empty()) continue;
    thing.mask(parts[i].area - thing.area.tl()).setTo(255, parts[i].mask);
  }
}

Thing MakeThing(std::vector<std::size_t> members, const FrameOutcome& outcome,
                const std::vector<Kind>& kinds) {
  const DirtyStatusResultData& result = outcome.result;
  Thing thing;
  const std::size_t first = members.front();
  std::copy_n(result.bboxes[first].begin(), thing.box.size(), thing.box.begin());
  thing.score = result.scores[first];
  thing.kind = kinds[first];
  for (const std::size_t i : members) {
    Include(result.bboxes[i], thing.box);
    thing.score = std::max(thing.score, result.scores[i]);
    if (kinds[i].is_confirmed) thing.kind = kinds[i];
  }
  thing.members = std::move(members);
  Unite(*outcome.parts, thing);
  return thing;
}

// Of masks that are as large, each with memory of its own.
int Compare(const cv::Mat& a, const cv::Mat& b) {
  return a.empty() ? 0 : std::memcmp(a.data, b.data, a.total());
}

// The members come last, and of them their number first: their indices depend on an order that
// means nothing.
bool IsBefore(const Thing& a, const Thing& b) {
  const auto key = [](const Thing& thing) {
    const cv::Rect& area = thing.area;
    return std::tuple(-thing.score, thing.box, thing.kind, area.x, area.y, area.width, area.height);
  };
  if (key(a) != key(b)) return key(a) < key(b);
  if (const int order = Compare(a.mask, b.mask); order != 0) return order < 0;
  return std::tuple(a.members.size(), a.members) < std::tuple(b.members.size(), b.members);
}

}  // namespace

std::vector<Thing> FindThings(const FrameOutcome& outcome, const Labels& labels) {
  const std::vector<Kind> kinds = KindsOf(outcome, labels);
  std::vector<Thing> things;
  for (std::vector<std::size_t>& members : GroupParts(*outcome.parts, kinds)) {
    things.push_back(MakeThing(std::move(members), outcome, kinds));
  }
  std::sort(things.begin(), things.end(), IsBefore);
  return things;
}

}  // namespace dirty_seg
