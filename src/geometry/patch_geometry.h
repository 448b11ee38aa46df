// Where the pixels of a patch lie in the network's square, and among its prototypes.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "geometry/letterbox.h"

namespace nuvik::geometry {

/// The inverse of what the crop did, and where each pixel of a mask is sampled.
class PatchGeometry {
 public:
  /// `size` is the patch as it was cut, `input_side` and `proto_side` the sides of the network's
  /// input and of its prototypes. Throws std::invalid_argument when the patch scales to nothing.
  PatchGeometry(const cv::Size& size, int input_side, int proto_side);

  /// Two neighbouring prototype cells, or twice the same, and the weight of the second: bilinear
  /// sampling at a pixel's centre, cell centres at halves, the outermost cells continued.
  struct Sample {
    int first;
    int second;
    float weight;
  };

  const cv::Size& size() const { return letterbox_.source; }
  const std::vector<Sample>& columns() const { return columns_; }
  const std::vector<Sample>& rows() const { return rows_; }

  /// A network coordinate in patch pixels, clipped to the patch.
  float ToPatchX(float x) const { return letterbox_.ToSourceX(x); }
  float ToPatchY(float y) const { return letterbox_.ToSourceY(y); }

 private:
  Letterbox letterbox_;
  std::vector<Sample> columns_;
  std::vector<Sample> rows_;
};

}  // namespace nuvik::geometry
