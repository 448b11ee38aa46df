// Labels as YOLO's segmentation training reads them.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <opencv2/imgproc.hpp>

#include "files/result_names.h"
#include "forms/result_sink.h"
#include "things/polygon.h"

namespace dirty_seg {
namespace {

constexpr std::size_t kMinCorners = 3;

std::string CornerText(double x, double y, const cv::Size& picture) {
  const auto share = [](double position, int side) {
    return std::clamp(position / side, 0.0, 1.0);
  };
  return fmt::format(" {:.6f} {:.6f}", share(x, picture.width), share(y, picture.height));
}

std::string BoxText(const std::array<float, 4>& box, const cv::Size& picture) {
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

std::string LineOf(const Finding& finding, std::int64_t class_id, const cv::Size& picture) {
  std::string line = std::to_string(class_id);
  const std::vector<cv::Point> outline = LargestOutline(finding.WholeMask(picture));
  if (outline.empty()) return line + BoxText(finding.box, picture);
  for (const cv::Point& pixel : outline) line += CornerText(pixel.x + 0.5, pixel.y + 0.5, picture);
  return line;
}

class YoloSink : public ResultSink {
 public:
  YoloSink(const OutputFolder& folder, const Labels& labels) : folder_(folder), labels_(labels) {}

  void Write(const FoundFrame& found) override {
    const cv::Size picture = found.frame.picture->size();
    std::string text;
    for (const Finding& finding : found.shown.findings) {
      if (!finding.is_in_picture) continue;
      text += LineOf(finding, labels_.IdOf(finding.kind), picture) + "\n";
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
