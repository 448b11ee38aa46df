// What the classifier saw, for a person to look at.
#include <fmt/format.h>

#include "forms/result_sink.h"
#include "geometry/image_box.h"
#include "things/deciding_candidate.h"

namespace dirty_seg {
namespace {

std::string NameOf(const FeceCandidate& candidate, std::size_t number) {
  const std::string score = candidate.score ? fmt::format("_{:.2f}", *candidate.score) : "";
  return fmt::format(".crop_{}.{}{}.png", number, VerdictText(candidate.verdict), score);
}

class CropSink : public ResultSink {
 public:
  explicit CropSink(const OutputFolder& folder) : folder_(folder) {}

  void Write(const FoundFrame& found) override {
    if (!found.outcome.fece_candidates) return;
    const cv::Mat& picture = *found.frame.picture;
    const std::vector<Finding>& findings = found.shown.findings;
    for (std::size_t i = 0; i < findings.size(); ++i) {
      const auto* candidate =
          FindDecidingCandidate(*found.outcome.fece_candidates, findings[i].members);
      if (candidate == nullptr) continue;
      const std::vector<float> edges(findings[i].box.begin(), findings[i].box.end());
      const auto box = nuvik::geometry::ClampToImage(edges, picture.size());
      if (box) folder_.WriteImage(found.name + NameOf(*candidate, i), picture(*box));
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
