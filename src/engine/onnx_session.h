// The narrow door to ONNX Runtime: only onnx_session.cpp includes its headers, and all that it
// throws leaves there as a SessionError.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/session_error.h"
#include "network/tensor.h"

namespace nuvik::alg::common {

/// What a network says of one of its inputs or outputs.
struct TensorInfo {
  std::string name;
  /// Nothing for an element type that has no code.
  std::optional<AIDataType> data_type;
  /// The element type, for messages.
  std::string type_name;
  /// -1 for an open dimension. Empty for a scalar, and where the file tells no rank.
  Shape shape;
};

/// A tensor and the caller's storage of `tensor->bytes` bytes for it.
struct BoundTensor {
  const Tensor* tensor;
  std::uint8_t* data;
};

/// What a session is for: one that only describes its network is loaded in half the time, and slow.
enum class SessionUse { kRun, kDescribe };

/// One loaded network.
class OnnxSession {
 public:
  /// `path` has passed CheckModelFile; `threads` is at least 1 and counts the caller's. Throws
  /// SessionError when the file holds no network that the runtime can execute.
  OnnxSession(const std::string& path, int threads, SessionUse use = SessionUse::kRun);
  ~OnnxSession();
  OnnxSession(const OnnxSession&) = delete;
  OnnxSession& operator=(const OnnxSession&) = delete;

  const std::vector<TensorInfo>& inputs() const;
  const std::vector<TensorInfo>& outputs() const;

  /// Entry of the model's metadata, empty when there is none. Throws SessionError.
  std::string Metadata(const std::string& key) const;

  /// Reads and writes the given storage, without a copy. Several threads may call it at once, with
  /// outputs of their own. Throws SessionError.
  void Run(const std::vector<BoundTensor>& inputs, const std::vector<BoundTensor>& outputs);

  /// Runs on zeros and gives the shape that each of `outputs()` then has. Throws SessionError.
  std::vector<Shape> TrialShapes(const std::vector<Tensor>& inputs);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace nuvik::alg::common
