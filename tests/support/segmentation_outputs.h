// Output tensors of a YOLOv8 segmentation network, written number by number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "engine/ai_engine.h"

namespace nuvik::test {

/// Shape and layout of a head on strides 8, 16 and 32 whose prototypes are a quarter of the input.
struct HeadLayout {
  int batch = 1;
  int input_side = 64;
  int classes = 2;
  int coefficients = 8;
  bool anchor_major = false;
  alg::common::AIDataType predictions_type = alg::common::kAIFloat32;
  alg::common::AIDataType prototypes_type = alg::common::kAIFloat32;
  std::string predictions_name = "output0";
  std::string prototypes_name = "output1";

  int channels() const { return 4 + classes + coefficients; }
  int anchors() const { return input_side / 8 * (input_side / 8) * 21 / 16; }
  int proto_side() const { return input_side / 4; }
};

/// The numbers of both tensors, all 0 at first. Numbers of a float16 tensor are rounded to it when
/// they are written, so that what is read back is what the decoder sees.
class SegmentationOutputs {
 public:
  explicit SegmentationOutputs(const HeadLayout& layout);

  const HeadLayout& layout() const { return layout_; }

  /// Configuration of a network with these outputs and one input "images".
  alg::common::AIEngineConfig Config() const;

  /// The tensors' bytes, in the layout and element types asked for.
  std::map<std::string, alg::common::AIBuff> Buffers() const;

  void SetPrediction(int slot, int channel, int anchor, float value);
  void SetPrototype(int slot, int coefficient, int row, int column, float value);
  float Prediction(int slot, int channel, int anchor) const;
  float Prototype(int slot, int coefficient, int row, int column) const;

  /// Centre and size in network pixels, one class score, and the first mask coefficient.
  struct Detection {
    float x;
    float y;
    float width;
    float height;
    int label;
    float score;
    float coefficient = 1.0F;
  };
  void Put(int slot, int anchor, const Detection& detection);

  /// Sets every cell of one prototype.
  void FillPrototype(int slot, int coefficient, float value);

 private:
  std::size_t PredictionIndex(int slot, int channel, int anchor) const;
  std::size_t PrototypeIndex(int slot, int coefficient, int row, int column) const;

  HeadLayout layout_;
  std::vector<float> predictions_;
  std::vector<float> prototypes_;
};

/// `value` rounded to what an element of `type`, float32 or float16, holds.
float RoundTo(alg::common::AIDataType type, float value);

}  // namespace nuvik::test
