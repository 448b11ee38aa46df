// The engine's one way of saying what went wrong.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>

namespace nuvik {

/// Writes one line to standard error, whatever line breaks `text` holds.
inline void PrintError(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::fprintf(stderr, "libtessmar_ai_engine: %s\n", text.c_str());
}

}  // namespace nuvik
