// Why a network cannot be loaded or run.
#pragma once

#include <stdexcept>

namespace nuvik::alg::common {

/// In words for people, as the end of a sentence that begins with the file's path.
struct SessionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace nuvik::alg::common
