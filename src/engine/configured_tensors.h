// Checks a configuration against what its network says of itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/ai_engine.h"
#include "engine/onnx_session.h"
#include "network/tensor.h"

namespace nuvik::alg::common {

struct ConfiguredTensor {
  /// Of all slots.
  std::size_t bytes;
  /// What one run of the network takes or gives: one slot, or all of them.
  Tensor slot;
};

/// The configured inputs, of which the network takes one of `slots` at a time. Throws
/// std::invalid_argument, naming the tensor, what was found and what was expected.
std::vector<ConfiguredTensor> CheckInputs(const AIEngineConfig& config,
                                          const std::vector<TensorInfo>& network,
                                          std::int64_t slots);

/// The configured outputs, at least one.
std::vector<ConfiguredTensor> CheckOutputs(const AIEngineConfig& config,
                                           const std::vector<TensorInfo>& network,
                                           std::int64_t slots);

/// The configured number of threads, the caller's included; where it is left open, one for each
/// core. Throws std::invalid_argument when it is out of range or the device is unknown.
int ThreadsOf(const AIEngineConfig& config);

}  // namespace nuvik::alg::common
