// What the classifier saw, for a person to look at.
#include <fmt/format.h>

#include "forms/result_sink.h"
#include "geometry/image_box.h"

namespace dirty_seg {
namespace {

std::string NameOf(const FeceCandidate& candidate) {
  const std::string score = candidate.score ? fmt::format("_{:.2f}", *candidate.score) : "";
  return fmt::format(".crop_{}.{}{}.png", candidate.detection, VerdictText(candidate.verdict),
                     score);
}

class CropSink : public ResultSink {
 public:
  explicit CropSink(const OutputFolder& folder) : folder_(folder) {}

  void Write(const FoundFrame& found) override {
    const FrameOutcome& outcome = found.outcome;
    if (!outcome.fece_candidates) return;
    const cv::Mat& picture = *found.frame.picture;
    for (const FeceCandidate& candidate : *outcome.fece_candidates) {
      const std::vector<float>& bbox = outcome.result.bboxes[candidate.detection];
      const auto box = nuvik::geometry::ClampToImage(bbox, picture.size());
      if (box) folder_.WriteImage(found.name + NameOf(candidate), picture(*box));
    }
  }

 private:
  const OutputFolder& folder_;
};

}  // namespace

std::unique_ptr<ResultSink> MakeCropSink(const OutputFolder& folder) {
  return std::make_unique<CropSink>(folder);
}

}  // namespace dirty_seg
