// Findings as COCO's results format has them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>

#include "things/shown.h"

namespace dirty_seg {

/// {"image_id", "category_id", "bbox": [x, y, width, height], "score", "segmentation": run
/// lengths}, in pixels of the picture, whose size is `picture`.
nlohmann::ordered_json CocoResult(const Finding& finding, const cv::Size& picture,
                                  std::size_t image_id, std::int64_t category_id);

}  // namespace dirty_seg
