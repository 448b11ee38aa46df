#include "network/segmentation_head.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

#include "network/join.h"
#include "network/tensor.h"

namespace nuvik::model {
namespace {

using alg::common::AIDataType;
using alg::common::AIEngineConfig;
using alg::common::Shape;
using alg::common::ShapeText;

constexpr int kBoxChannels = 4;
constexpr int kCoarsestStride = 32;

[[noreturn]] void Reject(const std::string& what) {
  throw std::invalid_argument("not a YOLOv8 segmentation network: " + what);
}

struct Output {
  std::string name;
  AIDataType type;
  Shape shape;
};

void CheckPositive(const std::string& name, const Shape& shape) {
  if (!alg::common::TensorBytes(alg::common::kAIFloat32, shape)) {
    Reject("'" + name + "' has shape " + ShapeText(shape) + "; " + alg::common::kSizeExpectation);
  }
}

// The network's one input: [N, 3, S, S], since crops are square.
Shape ReadInputShape(const AIEngineConfig& config) {
  if (config.input_shapes.size() != 1) {
    Reject("it has " + std::to_string(config.input_shapes.size()) + " inputs; expected 1");
  }
  const auto& [name, shape] = *config.input_shapes.begin();
  CheckPositive(name, shape);
  if (shape.size() != 4 || shape[1] != 3 || shape[2] != shape[3] ||
      shape[2] % kCoarsestStride != 0) {
    Reject("input '" + name + "' has shape " + ShapeText(shape) +
           "; expected [N, 3, S, S] with S a multiple of " + std::to_string(kCoarsestStride));
  }
  return shape;
}

AIDataType ReadType(const AIEngineConfig& config, const std::string& name) {
  const auto type = config.output_types.find(name);
  const std::uint32_t code =
      type == config.output_types.end() ? alg::common::kAIFloat32 : type->second;
  if (code == alg::common::kAIFloat32) return alg::common::kAIFloat32;
  if (code == alg::common::kAIFloat16) return alg::common::kAIFloat16;
  Reject("output '" + name + "' is " + alg::common::TypeName(code) +
         "; expected float32 or float16");
}

// The one output of that rank.
Output FindOutput(const AIEngineConfig& config, std::size_t rank, const std::string& role) {
  std::string found;
  std::vector<std::string> all;
  for (const auto& [name, bytes] : config.output_sizes) {
    const auto shape = config.output_shapes.find(name);
    if (shape == config.output_shapes.end()) Reject("output '" + name + "' has no shape");
    all.push_back("'" + name + "' " + ShapeText(shape->second));
    if (shape->second.size() != rank) continue;
    if (!found.empty()) {
      Reject("outputs '" + found + "' and '" + name + "' both have rank " + std::to_string(rank) +
             "; expected one, the " + role);
    }
    found = name;
  }
  if (found.empty()) {
    Reject("no output has rank " + std::to_string(rank) + ", the " + role + "; found " +
           (all.empty() ? "none" : Join(all)));
  }
  const Shape& shape = config.output_shapes.at(found);
  CheckPositive(found, shape);
  return {found, ReadType(config, found), shape};
}

// Anchors of a head on strides `first` to `last`, each the double of the one before; 0 when the
// side is not a multiple of the last.
std::int64_t CountAnchors(std::int64_t side, std::int64_t first, std::int64_t last) {
  if (side % last != 0) return 0;
  std::int64_t anchors = 0;
  for (std::int64_t stride = first; stride <= last; stride *= 2) {
    anchors += (side / stride) * (side / stride);
  }
  return anchors;
}

// The usual head and its variants for small (P2) and large (P6) objects.
bool IsAnchorCount(std::int64_t count, std::int64_t side) {
  constexpr std::array<std::pair<int, int>, 3> kStrides{{{8, 32}, {4, 32}, {8, 64}}};
  return std::any_of(kStrides.begin(), kStrides.end(), [&](const auto& strides) {
    return count == CountAnchors(side, strides.first, strides.second);
  });
}

void SetPrototypes(const Output& output, SegmentationHead& head) {
  const Shape& shape = output.shape;
  if (shape[0] != head.batch || shape[2] != shape[3] || head.input_side % shape[2] != 0) {
    Reject("prototypes '" + output.name + "' have shape " + ShapeText(shape) + "; expected [" +
           std::to_string(head.batch) + ", coefficients, S, S] with S a divisor of " +
           std::to_string(head.input_side));
  }
  head.prototypes = output.name;
  head.prototypes_type = output.type;
  head.coefficients = static_cast<int>(shape[1]);
  head.proto_side = static_cast<int>(shape[2]);
}

void SetPredictions(const Output& output, SegmentationHead& head) {
  const Shape& shape = output.shape;
  const std::int64_t least_channels = kBoxChannels + 1 + std::int64_t{head.coefficients};
  const auto fits = [&](std::size_t channel_axis, std::size_t anchor_axis) {
    return shape[0] == head.batch && shape[channel_axis] >= least_channels &&
           IsAnchorCount(shape[anchor_axis], head.input_side);
  };
  head.anchor_major = !fits(1, 2);
  if (head.anchor_major && !fits(2, 1)) {
    Reject("predictions '" + output.name + "' have shape " + ShapeText(shape) + "; expected [" +
           std::to_string(head.batch) + ", at least " + std::to_string(least_channels) + ", " +
           std::to_string(CountAnchors(head.input_side, 8, 32)) + "] or its transpose for " +
           std::to_string(head.coefficients) + " prototypes and an input of " +
           std::to_string(head.input_side) + " x " + std::to_string(head.input_side));
  }
  head.predictions = output.name;
  head.predictions_type = output.type;
  head.anchors = static_cast<int>(shape[head.anchor_major ? 1 : 2]);
  head.classes =
      static_cast<int>(shape[head.anchor_major ? 2 : 1]) - kBoxChannels - head.coefficients;
}

}  // namespace

SegmentationHead ReadSegmentationHead(const AIEngineConfig& config) {
  const Shape input = ReadInputShape(config);
  SegmentationHead head;
  head.batch = static_cast<int>(input[0]);
  head.input_side = static_cast<int>(input[2]);
  SetPrototypes(FindOutput(config, 4, "prototypes"), head);
  SetPredictions(FindOutput(config, 3, "predictions"), head);
  return head;
}

}  // namespace nuvik::model
