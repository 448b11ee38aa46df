#include "bench/usual_way.h"

#include <algorithm>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>

namespace bench {
namespace {

using nuvik::model::Object;

cv::Mat Letterbox(const cv::Mat& crop) {
  const double scale = static_cast<double>(kSide) / std::max(crop.cols, crop.rows);
  cv::Mat scaled;
  cv::resize(crop, scaled, cv::Size(), scale, scale, cv::INTER_NEAREST);
  const int top = (kSide - scaled.rows) / 2;
  const int left = (kSide - scaled.cols) / 2;
  cv::Mat square;
  cv::copyMakeBorder(scaled, square, top, kSide - scaled.rows - top, left,
                     kSide - scaled.cols - left, cv::BORDER_CONSTANT, cv::Scalar(114, 114, 114));
  return square;
}

struct Found {
  cv::Rect2f box;
  int label;
  float score;
  cv::Mat coefficients;
};

// Every anchor's best class.
std::vector<Found> FindGeneric(const float* predictions) {
  const cv::Mat channels(kChannels, kAnchors, CV_32F, const_cast<float*>(predictions));
  const cv::Mat anchors = channels.t();
  std::vector<Found> found;
  for (int anchor = 0; anchor < kAnchors; ++anchor) {
    const cv::Mat row = anchors.row(anchor);
    double score = 0;
    cv::Point best;
    cv::minMaxLoc(row.colRange(4, 4 + kClasses), nullptr, &score, nullptr, &best);
    if (score <= 0.25) continue;
    const float* box = row.ptr<float>();
    found.push_back({{box[0] - box[2] / 2, box[1] - box[3] / 2, box[2], box[3]},
                     best.x,
                     static_cast<float>(score),
                     row.colRange(4 + kClasses, kChannels).clone()});
  }
  return found;
}

std::vector<Found> SuppressGeneric(std::vector<Found> found) {
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& a, const Found& b) { return a.score > b.score; });
  std::vector<Found> kept;
  for (const Found& candidate : found) {
    const auto is_worse_than = [&candidate](const Found& better) {
      const float common = (better.box & candidate.box).area();
      const float all = better.box.area() + candidate.box.area() - common;
      return better.label == candidate.label && common / all > 0.7F;
    };
    if (std::none_of(kept.begin(), kept.end(), is_worse_than)) kept.push_back(candidate);
  }
  return kept;
}

// All prototypes, sigmoid, resize to the patch, threshold, crop.
cv::Mat DrawGeneric(const Found& found, const cv::Mat& layers) {
  const cv::Mat flat = found.coefficients * layers;
  const cv::Mat logits = flat.reshape(1, kProtoSide);
  cv::Mat exponential;
  cv::exp(-logits, exponential);
  const cv::Mat probability = 1.0 / (1.0 + exponential);
  cv::Mat large;
  cv::resize(probability, large, cv::Size(kSide, kSide), 0, 0, cv::INTER_LINEAR);
  const cv::Mat inside = large > 0.5;
  cv::Mat mask = cv::Mat::zeros(kSide, kSide, CV_8UC1);
  const cv::Rect box = cv::Rect(found.box) & cv::Rect(0, 0, kSide, kSide);
  inside(box).copyTo(mask(box));
  return mask;
}

}  // namespace

cv::Mat BlobOf(const cv::Mat& frame, const std::vector<cv::Rect>& patches) {
  std::vector<cv::Mat> squares;
  for (const cv::Rect& patch : patches) squares.push_back(Letterbox(frame(patch)));
  return cv::dnn::blobFromImages(squares, 1.0 / 255.0, cv::Size(kSide, kSide), cv::Scalar(), true);
}

std::vector<Object> DecodeGeneric(const float* predictions, const float* prototypes) {
  const cv::Mat layers(kCoefficients, kProtoSide * kProtoSide, CV_32F,
                       const_cast<float*>(prototypes));
  std::vector<Object> objects;
  for (const Found& found : SuppressGeneric(FindGeneric(predictions))) {
    const cv::Rect2f& box = found.box;
    objects.push_back({box.x, box.y, box.width, box.height, found.label, found.score,
                       DrawGeneric(found, layers)});
  }
  return objects;
}

ObjectLists DecodeGeneric(const Outputs& outputs) {
  ObjectLists lists;
  for (int slot = 0; slot < kSlots; ++slot) {
    lists.push_back(DecodeGeneric(SlotPredictions(outputs, slot), SlotPrototypes(outputs, slot)));
  }
  return lists;
}

}  // namespace bench
