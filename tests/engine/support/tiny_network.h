// ONNX files of one node, written byte by byte: for element types, shapes and metadata that the
// committed networks do not have.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nuvik::test {

/// Element types as ONNX numbers them.
enum class OnnxType : std::uint8_t {
  kFloat = 1,
  kUint8 = 2,
  kInt8 = 3,
  kUint16 = 4,
  kInt16 = 5,
  kInt32 = 6,
  kInt64 = 7,
  kString = 8,
  kBool = 9,
  kFloat16 = 10,
  kDouble = 11,
  kUint32 = 12,
  kUint64 = 13,
  kBfloat16 = 16,
};

struct TinyTensor {
  std::string name;
  OnnxType type = OnnxType::kFloat;
  /// A negative dimension is open. No shape at all: of unknown rank.
  std::optional<std::vector<std::int64_t>> shape;
  /// A sequence of such tensors.
  bool is_sequence = false;
};

struct TinyNetwork {
  std::string operation = "Identity";
  std::vector<TinyTensor> inputs;
  std::vector<TinyTensor> outputs;
  /// The metadata entry `names`; none when absent.
  std::optional<std::string> class_names;
};

/// The file's bytes.
std::string Serialise(const TinyNetwork& network);

/// A network that hands `x` through to `y`.
TinyNetwork PassOn(OnnxType type, const std::vector<std::int64_t>& shape);

}  // namespace nuvik::test
