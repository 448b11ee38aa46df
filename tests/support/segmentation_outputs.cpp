#include "support/segmentation_outputs.h"

#include <cstring>
#include <opencv2/core.hpp>

namespace nuvik::test {
namespace {

using alg::common::AIBuff;
using alg::common::AIDataType;
using alg::common::AIEngineConfig;

std::size_t BytesOf(AIDataType type) { return type == alg::common::kAIFloat16 ? 2 : 4; }

std::size_t Index(int a, int b, int b_count, int c, int c_count) {
  return (static_cast<std::size_t>(a) * static_cast<std::size_t>(b_count) +
          static_cast<std::size_t>(b)) *
             static_cast<std::size_t>(c_count) +
         static_cast<std::size_t>(c);
}

AIBuff MakeBuffer(AIDataType type, const std::vector<float>& values) {
  AIBuff buffer;
  buffer.data_type = type;
  buffer.data->resize(values.size() * BytesOf(type));
  for (std::size_t i = 0; i < values.size(); ++i) {
    std::uint8_t* element = buffer.data->data() + i * BytesOf(type);
    const cv::float16_t half(values[i]);
    std::memcpy(element,
                type == alg::common::kAIFloat16 ? static_cast<const void*>(&half) : &values[i],
                BytesOf(type));
  }
  return buffer;
}

}  // namespace

float RoundTo(AIDataType type, float value) {
  return type == alg::common::kAIFloat16 ? static_cast<float>(cv::float16_t(value)) : value;
}

SegmentationOutputs::SegmentationOutputs(const HeadLayout& layout)
    : layout_(layout),
      predictions_(PredictionIndex(layout.batch, 0, 0)),
      prototypes_(PrototypeIndex(layout.batch, 0, 0, 0)) {}

AIEngineConfig SegmentationOutputs::Config() const {
  const std::int64_t batch = layout_.batch;
  const std::int64_t side = layout_.input_side;
  const std::int64_t proto_side = layout_.proto_side();
  AIEngineConfig config;
  config.model_path = "head.onnx";
  config.input_sizes["images"] = static_cast<std::int32_t>(batch * 3 * side * side * 4);
  config.input_shapes["images"] = {batch, 3, side, side};
  config.input_types["images"] = alg::common::kAIFloat32;
  const auto put = [&config](const std::string& name, AIDataType type, std::size_t count,
                             const std::vector<std::int64_t>& shape) {
    config.output_sizes[name] = static_cast<std::int32_t>(count * BytesOf(type));
    config.output_shapes[name] = shape;
    config.output_types[name] = type;
  };
  const std::int64_t anchors = layout_.anchors();
  const std::int64_t channels = layout_.channels();
  put(layout_.predictions_name, layout_.predictions_type, predictions_.size(),
      layout_.anchor_major ? std::vector<std::int64_t>{batch, anchors, channels}
                           : std::vector<std::int64_t>{batch, channels, anchors});
  put(layout_.prototypes_name, layout_.prototypes_type, prototypes_.size(),
      {batch, layout_.coefficients, proto_side, proto_side});
  return config;
}

std::map<std::string, AIBuff> SegmentationOutputs::Buffers() const {
  return {{layout_.predictions_name, MakeBuffer(layout_.predictions_type, predictions_)},
          {layout_.prototypes_name, MakeBuffer(layout_.prototypes_type, prototypes_)}};
}

void SegmentationOutputs::SetPrediction(int slot, int channel, int anchor, float value) {
  predictions_.at(PredictionIndex(slot, channel, anchor)) =
      RoundTo(layout_.predictions_type, value);
}

void SegmentationOutputs::SetPrototype(int slot, int coefficient, int row, int column,
                                       float value) {
  prototypes_.at(PrototypeIndex(slot, coefficient, row, column)) =
      RoundTo(layout_.prototypes_type, value);
}

float SegmentationOutputs::Prediction(int slot, int channel, int anchor) const {
  return predictions_.at(PredictionIndex(slot, channel, anchor));
}

float SegmentationOutputs::Prototype(int slot, int coefficient, int row, int column) const {
  return prototypes_.at(PrototypeIndex(slot, coefficient, row, column));
}

void SegmentationOutputs::Put(int slot, int anchor, const Detection& detection) {
  SetPrediction(slot, 0, anchor, detection.x);
  SetPrediction(slot, 1, anchor, detection.y);
  SetPrediction(slot, 2, anchor, detection.width);
  SetPrediction(slot, 3, anchor, detection.height);
  SetPrediction(slot, 4 + detection.label, anchor, detection.score);
  SetPrediction(slot, 4 + layout_.classes, anchor, detection.coefficient);
}

void SegmentationOutputs::FillPrototype(int slot, int coefficient, float value) {
  for (int row = 0; row < layout_.proto_side(); ++row) {
    for (int column = 0; column < layout_.proto_side(); ++column) {
      SetPrototype(slot, coefficient, row, column, value);
    }
  }
}

std::size_t SegmentationOutputs::PredictionIndex(int slot, int channel, int anchor) const {
  return layout_.anchor_major ? Index(slot, anchor, layout_.anchors(), channel, layout_.channels())
                              : Index(slot, channel, layout_.channels(), anchor, layout_.anchors());
}

std::size_t SegmentationOutputs::PrototypeIndex(int slot, int coefficient, int row,
                                                int column) const {
  const int cell = static_cast<int>(Index(0, row, 0, column, layout_.proto_side()));
  return Index(slot, coefficient, layout_.coefficients, cell,
               layout_.proto_side() * layout_.proto_side());
}

}  // namespace nuvik::test
