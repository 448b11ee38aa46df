// Batch slots that a network computes one at a time, and the threads that compute them.
#pragma once

#include <cstdint>

#include "engine/ai_engine.h"
#include "network/onnx_description.h"

namespace nuvik::alg::common {

/// The slots of a configuration whose network computes them one at a time: the first dimension of
/// all its tensors, of which the file declares 1 or leaves them open. 1 for any other, whose
/// network computes all of its batch at once.
std::int64_t SlotsOf(const AIEngineConfig& config, const OnnxDescription& declared);

/// How the threads of an engine are shared out; by its configuration alone, never by what is fast
/// at the time. No more rounds of slots than the threads need, no more workers than fill them, and
/// all threads that are left in the operators, where the workers share them.
struct ThreadPlan {
  /// `slots` and `threads` are at least 1.
  ThreadPlan(std::int64_t slots, int threads);

  /// Slots that run at the same time, one of them on the caller's thread.
  int workers;
  /// Threads of an operator, the one that runs it included.
  int operator_threads;
};

}  // namespace nuvik::alg::common
