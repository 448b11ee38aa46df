// How long the engine's runs took. An addition of the bundled engine.
#pragma once

#include <cstdint>

#include "engine/export.h"

namespace nuvik::alg::common {

/// Of calls of `AIEngine::DoInference`, whatever they returned and of whichever object.
struct RunTime {
  std::int64_t runs = 0;
  /// Of all of them together, by a clock that is never set.
  double milliseconds = 0.0;
};

/// The calls that the calling thread made since it last called this function: each is handed out
/// once. The work that a call gave to other threads is in its caller's time; `AIEngine::Init` is
/// not counted.
///
/// May be called from any thread at any time. An engine of another make does not have this
/// function: the detector does without it.
NUVIK_EXPORT RunTime TakeRunTime() noexcept;

}  // namespace nuvik::alg::common
