#include "host/onnx_description.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "engine/onnx_message.h"

namespace dirty_seg {
namespace {

using nuvik::alg::common::OnnxMessage;

// Class names of a thousand classes stay whole.
constexpr std::uint64_t kMostMetadataBytes = 1U << 20U;

// Field numbers of the messages in an ONNX file.
namespace model {
constexpr std::uint64_t kIrVersion = 1;
constexpr std::uint64_t kProducer = 2;
constexpr std::uint64_t kProducerVersion = 3;
constexpr std::uint64_t kGraph = 7;
constexpr std::uint64_t kOpset = 8;
constexpr std::uint64_t kMetadata = 14;
}  // namespace model
namespace graph {
constexpr std::uint64_t kConstant = 5;
constexpr std::uint64_t kInput = 11;
constexpr std::uint64_t kOutput = 12;
}  // namespace graph
namespace constant {
constexpr std::uint64_t kName = 8;
}
namespace value {
constexpr std::uint64_t kName = 1;
constexpr std::uint64_t kType = 2;
}  // namespace value
namespace type {
constexpr std::uint64_t kTensor = 1;
}
namespace tensor {
constexpr std::uint64_t kElement = 1;
constexpr std::uint64_t kShape = 2;
}  // namespace tensor
namespace shape {
constexpr std::uint64_t kDimension = 1;
}
namespace dimension {
constexpr std::uint64_t kSize = 1;
constexpr std::uint64_t kName = 2;
}  // namespace dimension
// Pairs of a key and a value: operator sets and metadata alike.
namespace pair {
constexpr std::uint64_t kKey = 1;
constexpr std::uint64_t kValue = 2;
}  // namespace pair

std::string ElementName(std::int64_t code) {
  constexpr std::array<const char*, 17> kNames{
      "undefined", "float32", "uint8",     "int8",       "uint16",  "int16",
      "int32",     "int64",   "string",    "bool",       "float16", "float64",
      "uint32",    "uint64",  "complex64", "complex128", "bfloat16"};
  if (code >= 0 && code < static_cast<std::int64_t>(kNames.size())) {
    return kNames[static_cast<std::size_t>(code)];
  }
  return "ONNX element type " + std::to_string(code);
}

std::string ReadDimension(OnnxMessage message) {
  std::string text = "?";
  while (message.Next()) {
    if (message.field() == dimension::kSize) text = std::to_string(message.integer());
    if (message.field() == dimension::kName) text = message.Text();
  }
  return text.empty() ? "?" : text;
}

void ReadTensorType(OnnxMessage message, DeclaredTensor& declared) {
  while (message.Next()) {
    if (message.field() == tensor::kElement) declared.type = ElementName(message.integer());
    if (message.field() != tensor::kShape) continue;
    declared.has_shape = true;
    OnnxMessage dimensions = message.message();
    while (dimensions.Next()) {
      if (dimensions.field() == shape::kDimension) {
        declared.shape.push_back(ReadDimension(dimensions.message()));
      }
    }
  }
}

DeclaredTensor ReadTensor(OnnxMessage message) {
  DeclaredTensor declared;
  declared.type = "no tensor";
  while (message.Next()) {
    if (message.field() == value::kName) declared.name = message.Text();
    if (message.field() != value::kType) continue;
    OnnxMessage kinds = message.message();
    while (kinds.Next()) {
      if (kinds.field() == type::kTensor) ReadTensorType(kinds.message(), declared);
    }
  }
  return declared;
}

std::string ReadConstantName(OnnxMessage message) {
  std::string name;
  while (message.Next()) {
    if (message.field() == constant::kName) name = message.Text();
  }
  return name;
}

void ReadGraph(OnnxMessage message, OnnxDescription& description) {
  std::set<std::string> constants;
  while (message.Next()) {
    switch (message.field()) {
      case graph::kConstant:
        constants.insert(ReadConstantName(message.message()));
        break;
      case graph::kInput:
        description.inputs.push_back(ReadTensor(message.message()));
        break;
      case graph::kOutput:
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
    if (message.field() == pair::kKey) domain = message.Text();
    if (message.field() == pair::kValue) version = message.integer();
  }
  description.opsets[domain.empty() ? "ai.onnx" : domain] = version;
}

void ReadMetadata(OnnxMessage message, OnnxDescription& description) {
  std::string key;
  std::string text;
  while (message.Next()) {
    if (message.field() == pair::kKey) key = message.Text();
    if (message.field() == pair::kValue) text = message.Text(kMostMetadataBytes);
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
      case model::kIrVersion:
        description.ir_version = message.integer();
        break;
      case model::kProducer:
        description.producer = message.Text();
        break;
      case model::kProducerVersion:
        version = message.Text();
        break;
      case model::kGraph:
        ReadGraph(message.message(), description);
        break;
      case model::kOpset:
        ReadOpset(message.message(), description);
        break;
      case model::kMetadata:
        ReadMetadata(message.message(), description);
        break;
      default:
        break;
    }
  }
  if (!version.empty()) description.producer += (description.producer.empty() ? "" : " ") + version;
  return description;
}

std::string DeclarationText(const DeclaredTensor& declared) {
  if (!declared.has_shape) return declared.type + " of unknown rank";
  std::string text;
  for (const std::string& dimension : declared.shape) {
    text += (text.empty() ? "" : ", ") + dimension;
  }
  return declared.type + " [" + text + "]";
}

}  // namespace dirty_seg
