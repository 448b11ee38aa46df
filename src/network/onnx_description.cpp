#include "network/onnx_description.h"

#include <algorithm>
#include <set>
#include <utility>

#include "network/join.h"
#include "network/onnx_fields.h"
#include "network/onnx_message.h"
#include "network/tensor.h"

namespace nuvik::alg::common {
namespace {

// Enough for the names of a thousand classes.
constexpr std::uint64_t kMaxMetadataBytes = 1U << 20U;

std::string ReadDimension(OnnxMessage message) {
  std::string text = "?";
  while (message.Next()) {
    if (message.field() == onnx::dimension::kSize) text = std::to_string(message.integer());
    if (message.field() == onnx::dimension::kName) text = message.Text();
  }
  return text.empty() ? "?" : text;
}

void ReadTensorType(OnnxMessage message, DeclaredTensor& declared) {
  while (message.Next()) {
    if (message.field() == onnx::tensor_type::kElement) {
      declared.type = OnnxTypeName(message.integer());
    }
    if (message.field() != onnx::tensor_type::kShape) continue;
    declared.has_shape = true;
    OnnxMessage dimensions = message.message();
    while (dimensions.Next()) {
      if (dimensions.field() == onnx::shape::kDimension) {
        declared.shape.push_back(ReadDimension(dimensions.message()));
      }
    }
  }
}

DeclaredTensor ReadTensor(OnnxMessage message) {
  DeclaredTensor declared;
  declared.type = kNotATensor;
  while (message.Next()) {
    if (message.field() == onnx::value_info::kName) declared.name = message.Text();
    if (message.field() != onnx::value_info::kType) continue;
    OnnxMessage kinds = message.message();
    while (kinds.Next()) {
      if (kinds.field() == onnx::type::kTensor) ReadTensorType(kinds.message(), declared);
    }
  }
  return declared;
}

std::string ReadConstantName(OnnxMessage message) {
  std::string name;
  while (message.Next()) {
    if (message.field() == onnx::tensor::kName) name = message.Text();
  }
  return name;
}

void ReadGraph(OnnxMessage message, OnnxDescription& description) {
  std::set<std::string> constants;
  while (message.Next()) {
    switch (message.field()) {
      case onnx::graph::kInitializer:
        constants.insert(ReadConstantName(message.message()));
        break;
      case onnx::graph::kInput:
        description.inputs.push_back(ReadTensor(message.message()));
        break;
      case onnx::graph::kOutput:
        description.outputs.push_back(ReadTensor(message.message()));
        break;
      default:
        break;
    }
  }
  std::vector<DeclaredTensor>& inputs = description.inputs;
  inputs.erase(std::remove_if(inputs.begin(), inputs.end(),
                              [&constants](const DeclaredTensor& input) {
                                return constants.count(input.name) != 0;
                              }),
               inputs.end());
}

void ReadOpset(OnnxMessage message, OnnxDescription& description) {
  std::string domain;
  std::int64_t version = 0;
  while (message.Next()) {
    if (message.field() == onnx::pair::kKey) domain = message.Text();
    if (message.field() == onnx::pair::kValue) version = message.integer();
  }
  description.opsets[domain.empty() ? "ai.onnx" : domain] = version;
}

void ReadMetadata(OnnxMessage message, OnnxDescription& description) {
  std::string key;
  std::string text;
  while (message.Next()) {
    if (message.field() == onnx::pair::kKey) key = message.Text();
    if (message.field() == onnx::pair::kValue) text = message.Text(kMaxMetadataBytes);
  }
  description.metadata[key] = std::move(text);
}

}  // namespace

OnnxDescription DescribeOnnxFile(std::istream& file) {
  OnnxDescription description;
  std::string version;
  OnnxMessage message = OnnxMessage::Whole(file);
  while (message.Next()) {
    switch (message.field()) {
      case onnx::model::kIrVersion:
        description.ir_version = message.integer();
        break;
      case onnx::model::kProducer:
        description.producer = message.Text();
        break;
      case onnx::model::kProducerVersion:
        version = message.Text();
        break;
      case onnx::model::kGraph:
        ReadGraph(message.message(), description);
        break;
      case onnx::model::kOpset:
        ReadOpset(message.message(), description);
        break;
      case onnx::model::kMetadata:
        ReadMetadata(message.message(), description);
        break;
      default:
        break;
    }
  }
  if (!version.empty()) description.producer += (description.producer.empty() ? "" : " ") + version;
  return description;
}

bool DeclaredTensor::HasOpenBatch() const {
  return !shape.empty() && shape[0].find_first_not_of("0123456789") != std::string::npos;
}

bool DeclaredTensor::MayHoldOneSlot() const {
  return !has_shape || (!shape.empty() && (shape[0] == "1" || HasOpenBatch()));
}

std::string DeclarationText(const DeclaredTensor& declared) {
  if (!declared.has_shape) return declared.type + " of unknown rank";
  return declared.type + " [" + model::Join(declared.shape) + "]";
}

bool HasOpenBatch(const OnnxDescription& description) {
  return !description.inputs.empty() && description.inputs[0].HasOpenBatch();
}

}  // namespace nuvik::alg::common
