#include "base/geometry_json.h"

#include <nlohmann/json.hpp>

namespace dirty_seg {

nlohmann::ordered_json RectToJson(const cv::Rect& rect) {
  return {rect.x, rect.y, rect.width, rect.height};
}

nlohmann::ordered_json SizeToJson(const cv::Size& size) { return {size.height, size.width}; }

}  // namespace dirty_seg
