// Pixel rectangles and sizes as JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core/types.hpp>

namespace dirty_seg {

/// [x, y, width, height].
nlohmann::ordered_json RectToJson(const cv::Rect& rect);

/// [height, width], as array shapes are.
nlohmann::ordered_json SizeToJson(const cv::Size& size);

}  // namespace dirty_seg
