// Numbers of the fields in the messages of an ONNX file (onnx.proto3), those read here.
#pragma once

#include <cstdint>

namespace nuvik::alg::common::onnx {

namespace model {
constexpr std::uint64_t kIrVersion = 1;
constexpr std::uint64_t kProducer = 2;
constexpr std::uint64_t kProducerVersion = 3;
constexpr std::uint64_t kGraph = 7;
constexpr std::uint64_t kOpset = 8;
constexpr std::uint64_t kMetadata = 14;
constexpr std::uint64_t kTraining = 20;
constexpr std::uint64_t kFunction = 25;
constexpr std::uint64_t kDevices = 26;
}  // namespace model

// Pairs of a key and a value: operator sets and metadata alike.
namespace pair {
constexpr std::uint64_t kKey = 1;
constexpr std::uint64_t kValue = 2;
}  // namespace pair

namespace graph {
constexpr std::uint64_t kNode = 1;
constexpr std::uint64_t kInitializer = 5;
constexpr std::uint64_t kInput = 11;
constexpr std::uint64_t kOutput = 12;
constexpr std::uint64_t kValueInfo = 13;
constexpr std::uint64_t kAnnotation = 14;
constexpr std::uint64_t kSparseInitializer = 15;
}  // namespace graph

namespace function {
constexpr std::uint64_t kName = 1;
constexpr std::uint64_t kInput = 4;
constexpr std::uint64_t kNode = 7;
constexpr std::uint64_t kDomain = 10;
constexpr std::uint64_t kOverload = 13;
}  // namespace function

namespace node {
constexpr std::uint64_t kInput = 1;
constexpr std::uint64_t kOutput = 2;
constexpr std::uint64_t kName = 3;
constexpr std::uint64_t kOperator = 4;
constexpr std::uint64_t kAttribute = 5;
constexpr std::uint64_t kDomain = 7;
constexpr std::uint64_t kOverload = 8;
}  // namespace node

namespace attribute {
constexpr std::uint64_t kName = 1;
constexpr std::uint64_t kInteger = 3;
constexpr std::uint64_t kTensor = 5;
constexpr std::uint64_t kGraph = 6;
constexpr std::uint64_t kGraphs = 11;
}  // namespace attribute

// Constants: initializers.
namespace tensor {
constexpr std::uint64_t kName = 8;
constexpr std::uint64_t kExternalData = 13;
}  // namespace tensor
namespace sparse_tensor {
constexpr std::uint64_t kValues = 1;
}

// Which tensors have a quantised one's scale and zero point.
namespace annotation {
constexpr std::uint64_t kTensor = 1;
constexpr std::uint64_t kQuantParameter = 2;
}  // namespace annotation

// What inputs and outputs are declared as.
namespace value_info {
constexpr std::uint64_t kName = 1;
constexpr std::uint64_t kType = 2;
}  // namespace value_info
namespace type {
constexpr std::uint64_t kTensor = 1;
}
namespace tensor_type {
constexpr std::uint64_t kElement = 1;
constexpr std::uint64_t kShape = 2;
}  // namespace tensor_type
namespace shape {
constexpr std::uint64_t kDimension = 1;
}
namespace dimension {
constexpr std::uint64_t kSize = 1;
constexpr std::uint64_t kName = 2;
}  // namespace dimension

}  // namespace nuvik::alg::common::onnx
