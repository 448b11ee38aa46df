// Labels as YOLO's segmentation training reads them.
#include <fmt/format.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "detector/instance_mask.h"
#include "files/result_names.h"
#include "forms/result_sink.h"

namespace dirty_seg {
namespace {

constexpr std::size_t kMinCorners = 3;

std::string CornerText(double x, double y, const cv::Size& picture) {
  const auto share = [](double position, int side) {
    return std::clamp(position / side, 0.0, 1.0);
  };
  return fmt::format(" {:.6f} {:.6f}", share(x, picture.width), share(y, picture.height));
}

std::string BoxText(const std::vector<float>& box, const cv::Size& picture) {
  return CornerText(box[0], box[1], picture) + CornerText(box[2], box[1], picture) +
         CornerText(box[2], box[3], picture) + CornerText(box[0], box[3], picture);
}

// The outline of the largest area; empty if no outline encloses one.
std::vector<cv::Point> LargestOutline(const cv::Mat& mask) {
  std::vector<cv::Point> largest;
  double most = 0.0;
  for (Polygon& polygon : FindPolygons(mask)) {
    const double area = cv::contourArea(polygon.outer);
    if (polygon.outer.size() < kMinCorners || area <= most) continue;
    most = area;
    largest = std::move(polygon.outer);
  }
  return largest;
}

std::string LineOf(const DirtyStatusResultData& result, std::size_t detection,
                   std::int64_t class_id, const cv::Size& picture) {
  std::string line = std::to_string(class_id);
  const std::vector<cv::Point> outline =
      LargestOutline(CutInstanceMask(result, detection, picture));
  if (outline.empty()) return line + BoxText(result.bboxes[detection], picture);
  for (const cv::Point& pixel : outline) line += CornerText(pixel.x + 0.5, pixel.y + 0.5, picture);
  return line;
}

class YoloSink : public ResultSink {
 public:
  YoloSink(const OutputFolder& folder, const Labels& labels) : folder_(folder), labels_(labels) {}

  void Write(const FoundFrame& found) override {
    const cv::Size picture = found.frame.picture->size();
    const std::vector<Kind> kinds = KindsOf(found.outcome, labels_);
    std::string text;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      if (!found.IsInPicture(i)) continue;
      text += LineOf(found.outcome.result, i, labels_.IdOf(kinds[i]), picture) + "\n";
    }
    folder_.WriteText(fmt::format("{}/{}.txt", kLabelsFolder, found.name), text);
  }

 private:
  const OutputFolder& folder_;
  const Labels& labels_;
};

}  // namespace

std::unique_ptr<ResultSink> MakeYoloSink(const OutputFolder& folder, const Labels& labels) {
  folder.MakeFolder(kLabelsFolder);
  return std::make_unique<YoloSink>(folder, labels);
}

}  // namespace dirty_seg
