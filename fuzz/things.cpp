// Detections of small patches as parts of things: each is in one thing, two are in the same if they
// meet, be it by way of others, a thing has the pixels of its detections, and no order counts.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <utility>

#include "geometry/letterbox.h"
#include "input.h"
#include "things/thing.h"

namespace {

using dirty_seg::FrameOutcome;
using dirty_seg::Labels;
using dirty_seg::Part;
using dirty_seg::Thing;
using fuzz::Input;
using fuzz::Require;
using nuvik::model::Object;

constexpr std::size_t kMaxDetections = 6;
constexpr std::array<int, 3> kClasses{0, 3, dirty_seg::kFeceLabel};

// At the frame's beginning, or across its end.
std::vector<cv::Rect> TakePatches(Input& input) {
  const cv::Size frame = nuvik::geometry::FrameSize();
  const cv::Point origin =
      input.TakeBool() ? cv::Point(frame.width, frame.height) - cv::Point(40, 40) : cv::Point();
  std::vector<cv::Rect> patches(static_cast<std::size_t>(input.TakeFrom(1, 4)));
  for (cv::Rect& patch : patches) {
    const int x = input.TakeFrom(0, 31);
    const int y = input.TakeFrom(0, 31);
    const int width = input.TakeFrom(1, 24);
    const int height = input.TakeFrom(1, 24);
    patch = cv::Rect(x, y, width, height) + origin;
  }
  return patches;
}

// Runs of pixels along the rows; the rest is not set.
cv::Mat TakeMask(Input& input, const cv::Size& size) {
  cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
  for (int i = 0; i < size.area() && !input.IsEmpty();) {
    const auto value = input.Take<std::uint8_t>();
    for (int left = input.TakeFrom(0, 63); left >= 0 && i < size.area(); --left, ++i) {
      mask.at<std::uint8_t>(i / size.width, i % size.width) = value;
    }
  }
  return mask;
}

// A detection of a frame.
struct Detection {
  Part part;
  std::vector<float> box;
  float score = 0.0F;
  bool is_confirmed = false;
};

// Few classes, boxes and scores, so that there are equal ones.
Detection TakeDetection(Input& input) {
  Detection detection;
  detection.part.network_label = kClasses.at(static_cast<std::size_t>(input.TakeFrom(0, 2)));
  detection.is_confirmed = input.TakeBool();
  detection.score = static_cast<float>(input.TakeFrom(1, 3)) / 4.0F;
  const auto left = static_cast<float>(input.TakeFrom(0, 2));
  detection.box = {left, 0.0F, left + 1.0F, 1.0F};
  return detection;
}

// Each placed with its patch as the program does it.
std::vector<Detection> TakeDetections(Input& input) {
  const std::vector<cv::Rect> patches = TakePatches(input);
  std::vector<Detection> detections;
  while (detections.size() < kMaxDetections && !input.IsEmpty()) {
    Detection detection = TakeDetection(input);
    std::vector<std::vector<Object>> lists(patches.size());
    const std::size_t patch = input.Take<std::uint8_t>() % patches.size();
    Object object;
    object.label = detection.part.network_label;
    if (input.TakeFrom(0, 7) != 7) object.mask = TakeMask(input, patches[patch].size());
    lists[patch].push_back(object);
    detection.part = dirty_seg::PartsOf(lists, patches).at(0);
    detections.push_back(std::move(detection));
  }
  return detections;
}

FrameOutcome OutcomeOf(const std::vector<Detection>& detections) {
  FrameOutcome outcome;
  outcome.parts.emplace();
  outcome.fece_candidates.emplace();
  for (const Detection& detection : detections) {
    const int label = detection.part.network_label;
    if (detection.is_confirmed) {
      outcome.fece_candidates->push_back(
          {outcome.parts->size(), dirty_seg::FeceVerdict::kConfirmed, 1.0F});
    }
    outcome.result.labels.push_back(detection.is_confirmed ? dirty_seg::kFeceLabel : label);
    outcome.result.bboxes.push_back(detection.box);
    outcome.result.scores.push_back(detection.score);
    outcome.parts->push_back(detection.part);
  }
  return outcome;
}

// ---- What must hold -----------------------------------------------------------------------------

std::vector<cv::Point> PixelsOf(const cv::Mat& mask, const cv::Rect& area) {
  std::vector<cv::Point> pixels;
  if (!mask.empty()) cv::findNonZero(mask, pixels);
  for (cv::Point& pixel : pixels) pixel += area.tl();
  return pixels;
}

bool IsGap(int pixels) { return pixels >= 0 && pixels <= dirty_seg::kMaxBorderGap; }

// Whether `inside` is at a border of the patch, `outside` at its other side, and both along it in
// about one place.
bool AreAcross(const cv::Rect& patch, const cv::Point& inside, const cv::Point& outside) {
  const cv::Point last = patch.br() - cv::Point(1, 1);
  const cv::Point apart(std::abs(inside.x - outside.x), std::abs(inside.y - outside.y));
  constexpr int kAlong = dirty_seg::kMaxBorderGap + 1;
  const bool is_left = IsGap(inside.x - patch.x) && IsGap(patch.x - 1 - outside.x);
  const bool is_right = IsGap(last.x - inside.x) && IsGap(outside.x - last.x - 1);
  const bool is_above = IsGap(inside.y - patch.y) && IsGap(patch.y - 1 - outside.y);
  const bool is_below = IsGap(last.y - inside.y) && IsGap(outside.y - last.y - 1);
  return ((is_left || is_right) && apart.y <= kAlong) ||
         ((is_above || is_below) && apart.x <= kAlong);
}

// Pixel by pixel: next to each other where both patches look, or across a patch's border.
bool Meet(const Part& a, const Part& b) {
  if (a.patch_index == b.patch_index) return false;
  for (const cv::Point& p : PixelsOf(a.mask, a.area)) {
    for (const cv::Point& q : PixelsOf(b.mask, b.area)) {
      // Each pixel lies in its own patch.
      const bool is_shared = a.patch.contains(q) && b.patch.contains(p);
      const bool are_next = std::abs(p.x - q.x) <= 1 && std::abs(p.y - q.y) <= 1;
      if (is_shared && are_next) return true;
      if (AreAcross(a.patch, p, q) || AreAcross(b.patch, q, p)) return true;
    }
  }
  return false;
}

// Which detections are parts of one thing, each with itself.
std::vector<std::vector<bool>> Joined(const FrameOutcome& outcome, const Labels& labels) {
  const std::vector<Part>& parts = *outcome.parts;
  const std::vector<dirty_seg::Kind> kinds = KindsOf(outcome, labels);
  const std::size_t count = parts.size();
  std::vector<std::vector<bool>> joined(count, std::vector<bool>(count));
  for (std::size_t a = 0; a < count; ++a) {
    for (std::size_t b = 0; b < count; ++b) {
      const bool are_alike =
          kinds[a].label == kinds[b].label || parts[a].network_label == parts[b].network_label;
      joined[a][b] = a == b || (are_alike && Meet(parts[a], parts[b]));
    }
  }
  for (std::size_t by = 0; by < count; ++by) {
    for (std::size_t a = 0; a < count; ++a) {
      for (std::size_t b = 0; b < count; ++b) {
        joined[a][b] = joined[a][b] || (joined[a][by] && joined[by][b]);
      }
    }
  }
  return joined;
}

void CheckMembers(const std::vector<Thing>& things, const FrameOutcome& outcome,
                  const Labels& labels) {
  const std::size_t count = outcome.parts->size();
  std::vector<const Thing*> thing_of(count);
  for (const Thing& thing : things) {
    Require(!thing.members.empty(), "a thing has a detection");
    for (const std::size_t member : thing.members) {
      Require(member < count && thing_of[member] == nullptr, "a detection is in one thing");
      thing_of[member] = &thing;
    }
  }
  const auto joined = Joined(outcome, labels);
  for (std::size_t a = 0; a < count; ++a) {
    Require(thing_of[a] != nullptr, "a detection is in a thing");
    for (std::size_t b = 0; b < count; ++b) {
      Require((thing_of[a] == thing_of[b]) == joined[a][b], "what meets is one thing");
    }
  }
}

void CheckPixels(const Thing& thing, const std::vector<Part>& parts) {
  const cv::Rect frame({0, 0}, nuvik::geometry::FrameSize());
  Require((thing.area & frame) == thing.area, "a thing is in the frame");
  cv::Mat expected = cv::Mat::zeros(thing.area.size(), CV_8UC1);
  for (const std::size_t member : thing.members) {
    for (const cv::Point& pixel : PixelsOf(parts[member].mask, parts[member].area)) {
      Require(thing.area.contains(pixel), "a thing has the area of its detections");
      expected.at<std::uint8_t>(pixel - thing.area.tl()) = 255;
    }
  }
  Require(thing.mask.size() == thing.area.size(), "a mask is as large as its area");
  Require(thing.pixels() == (expected.empty() ? 0 : cv::countNonZero(expected)),
          "pixels of several detections count once");
  Require(expected.empty() || cv::countNonZero(thing.mask != expected) == 0,
          "a thing has the pixels of its detections");
}

void CheckOrder(const std::vector<Thing>& things, const std::vector<Thing>& shuffled) {
  Require(things.size() == shuffled.size(), "in any order there are as many things");
  for (std::size_t i = 0; i < things.size(); ++i) {
    const Thing& a = things[i];
    const Thing& b = shuffled[i];
    Require(i == 0 || things[i - 1].score >= a.score, "the best is first");
    Require(a.score == b.score && a.box == b.box && a.kind == b.kind && a.area == b.area &&
                a.members.size() == b.members.size(),
            "in any order they are the same");
    Require(a.mask.empty() || cv::countNonZero(a.mask != b.mask) == 0,
            "in any order they have the same pixels");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  std::minstd_rand random(input.Take<std::uint8_t>());
  const Labels labels({}, true);
  std::vector<Detection> detections = TakeDetections(input);
  const FrameOutcome outcome = OutcomeOf(detections);
  const std::vector<Thing> things = dirty_seg::FindThings(outcome, labels);
  CheckMembers(things, outcome, labels);
  for (const Thing& thing : things) CheckPixels(thing, *outcome.parts);
  std::shuffle(detections.begin(), detections.end(), random);
  CheckOrder(things, dirty_seg::FindThings(OutcomeOf(detections), labels));
  return 0;
}
