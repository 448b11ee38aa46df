#include "things/shown.h"

#include <algorithm>

#include "base/mask_bounds.h"
#include "geometry/image_box.h"
#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

bool Contains(const std::vector<Kind>& kinds, const Kind& kind) {
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

// The label's mask within the box.
void CutMask(const DirtyStatusResultData& result, std::size_t detection, Finding& finding) {
  const auto label_mask = result.label_masks.find(result.labels[detection]);
  if (label_mask == result.label_masks.end()) return;
  const auto box =
      nuvik::geometry::ClampToImage(result.bboxes[detection], label_mask->second.size());
  if (!box) return;
  finding.area = *box;
  finding.mask = label_mask->second(*box);
}

Finding MakeFinding(const FrameOutcome& outcome, const DirtyStatusResultData& result,
                    const FrameFit& fit, const Kind& kind, std::size_t detection) {
  Finding finding;
  const std::vector<float>& box = result.bboxes[detection];
  std::copy_n(box.begin(), finding.box.size(), finding.box.begin());
  finding.score = result.scores[detection];
  finding.kind = kind;
  finding.members = {detection};
  finding.is_in_picture = ReachesIntoPicture(outcome.result.bboxes[detection], fit);
  CutMask(result, detection, finding);
  return finding;
}

void AddTo(cv::Mat& masks, const Finding& finding, const cv::Size& picture) {
  if (masks.empty()) masks = cv::Mat::zeros(picture, CV_8UC1);
  if (!finding.area.empty()) masks(finding.area).setTo(255, finding.mask);
}

// Pixels of label `label`, by kind.
void AddMasks(const cv::Mat& mask, int label, const std::vector<Kind>& kinds, Shown& shown) {
  const Kind plain{label, false};
  const Kind confirmed{label, true};
  if (!Contains(kinds, confirmed)) {
    shown.masks[plain] = mask;
    return;
  }
  if (!Contains(kinds, plain)) {
    shown.masks[confirmed] = mask;
    return;
  }
  cv::Mat& part = shown.masks[confirmed];
  for (const Finding& finding : shown.findings) {
    if (finding.kind == confirmed) AddTo(part, finding, mask.size());
  }
  shown.masks[plain] = mask & ~part;
}

// The mask of the frame in the picture, and where.
void PlaceMask(const Thing& thing, const FrameFit& fit, Finding& finding) {
  if (fit.IsWholeFrame() || thing.area.empty()) {
    finding.area = thing.area;
    finding.mask = thing.mask;
    return;
  }
  cv::Mat whole = cv::Mat::zeros(nuvik::geometry::FrameSize(), CV_8UC1);
  thing.mask.copyTo(whole(thing.area));
  const cv::Mat placed = MaskInPicture(whole, fit);
  finding.area = MaskBounds(placed);
  finding.mask = placed(finding.area).clone();
}

}  // namespace

cv::Mat Finding::WholeMask(const cv::Size& picture) const {
  cv::Mat whole;
  AddTo(whole, *this, picture);
  return whole;
}

Shown ShowDetections(const FrameOutcome& outcome, const DirtyStatusResultData& result,
                     const FrameFit& fit, const Labels& labels) {
  const std::vector<Kind> kinds = KindsOf(outcome, labels);
  Shown shown;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    shown.findings.push_back(MakeFinding(outcome, result, fit, kinds[i], i));
  }
  for (const auto& [label, mask] : result.label_masks) AddMasks(mask, label, kinds, shown);
  return shown;
}

Shown ShowThings(const std::vector<Thing>& things, const FrameFit& fit) {
  Shown shown;
  for (const Thing& thing : things) {
    Finding finding;
    finding.box = BoxInPicture(thing.box, fit);
    finding.score = thing.score;
    finding.kind = thing.kind;
    finding.members = thing.members;
    finding.is_in_picture = ReachesIntoPicture(thing.box, fit);
    PlaceMask(thing, fit, finding);
    if (!finding.area.empty()) AddTo(shown.masks[thing.kind], finding, fit.picture);
    shown.findings.push_back(std::move(finding));
  }
  return shown;
}

}  // namespace dirty_seg
