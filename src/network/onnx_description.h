// What an ONNX file declares, read without the runtime.
#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <vector>

namespace nuvik::alg::common {

/// An input or output as the file declares it.
struct DeclaredTensor {
  std::string name;
  /// "float32"; also types that the engine does not carry.
  std::string type;
  /// One text per dimension: a number, the name of an open dimension, or "?" for one without.
  std::vector<std::string> shape;
  /// False if the file does not declare a rank.
  bool has_shape = false;

  /// Whether the first dimension takes any number.
  bool HasOpenBatch() const;
  /// Whether the tensor, as far as the file says, has one batch slot at a time: its first dimension
  /// is 1 or open, or there is no rank.
  bool MayHoldOneSlot() const;
};

struct OnnxDescription {
  /// Name and version of the program that wrote the file.
  std::string producer;
  std::int64_t ir_version = 0;
  /// Versions of the operator sets by domain.
  std::map<std::string, std::int64_t> opsets;
  std::map<std::string, std::string> metadata;
  /// Without those that have a constant in the file.
  std::vector<DeclaredTensor> inputs;
  std::vector<DeclaredTensor> outputs;
};

/// For a file that is not ONNX, the result has what could be read, possibly nothing; refusing it is
/// up to the runtime.
OnnxDescription DescribeOnnxFile(std::istream& file);

/// Whether the first input's first dimension takes any number.
bool HasOpenBatch(const OnnxDescription& description);

/// "float32 [batch, 3, 640, 640]".
std::string DeclarationText(const DeclaredTensor& declared);

}  // namespace nuvik::alg::common
