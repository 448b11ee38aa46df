#include "geometry/patch_geometry.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "geometry/size_text.h"

namespace nuvik::geometry {
namespace {

// The samples of `length` patch pixels along one axis; `to_square` gives network pixels. In double:
// made once per patch, and then as good as exact.
template <typename ToSquare>
std::vector<PatchGeometry::Sample> MakeSamples(int length, int input_side, int proto_side,
                                               const ToSquare& to_square) {
  std::vector<PatchGeometry::Sample> samples;
  samples.reserve(static_cast<std::size_t>(length));
  for (int p = 0; p < length; ++p) {
    const double network = to_square(p + 0.5);
    const double cell = std::clamp(network * proto_side / input_side - 0.5, 0.0, proto_side - 1.0);
    const int first = static_cast<int>(cell);
    const auto weight = static_cast<float>(cell - first);
    samples.push_back({first, weight > 0.0F ? first + 1 : first, weight});
  }
  return samples;
}

}  // namespace

PatchGeometry::PatchGeometry(const cv::Size& size, int input_side, int proto_side)
    : letterbox_(size, input_side) {
  if (letterbox_.scaled.width <= 0 || letterbox_.scaled.height <= 0) {
    throw std::invalid_argument("a patch of " + SizeText(size) + " scales to " +
                                SizeText(letterbox_.scaled) + "; expected at least 1 x 1");
  }
  columns_ = MakeSamples(size.width, input_side, proto_side,
                         [this](double x) { return letterbox_.ToSquareX(x); });
  rows_ = MakeSamples(size.height, input_side, proto_side,
                      [this](double y) { return letterbox_.ToSquareY(y); });
}

}  // namespace nuvik::geometry
