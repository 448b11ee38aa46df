#include "forms/coco.h"

#include <array>
#include <nlohmann/json.hpp>

#include "results/run_length.h"

namespace dirty_seg {

using nlohmann::ordered_json;

ordered_json CocoResult(const Finding& finding, const cv::Size& picture, std::size_t image_id,
                        std::int64_t category_id) {
  const std::array<float, 4>& box = finding.box;
  const RunLengths mask = EncodeRunLengths(finding.mask, finding.area.tl(), picture);
  ordered_json json;
  json["image_id"] = image_id;
  json["category_id"] = category_id;
  json["bbox"] = {box[0], box[1], box[2] - box[0], box[3] - box[1]};
  json["score"] = finding.score;
  json["segmentation"] = RunLengthsToJson(mask);
  return json;
}

}  // namespace dirty_seg
