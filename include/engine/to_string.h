// Overload of std::to_string that lets generic code pass text as well as numbers.
#pragma once

#include <string>

#include "engine/export.h"

namespace std {

/// Returns `value` unchanged. Defined in libtessmar_ai_engine.so.
NUVIK_EXPORT string to_string(const string& value);

}  // namespace std
