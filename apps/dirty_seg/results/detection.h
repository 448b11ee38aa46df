// One detection in a frame.
#pragma once

#include <array>

namespace dirty_seg {

struct Detection {
  /// x1, y1, x2, y2 in pixels of the 1920 x 1080 frame; not clipped to it.
  std::array<float, 4> box{};
  float score = 0.0F;
  int label = 0;
};

}  // namespace dirty_seg
