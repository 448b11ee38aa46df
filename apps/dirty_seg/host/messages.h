// What the program says to a person: one line each on standard error.
#pragma once

#include <cstdio>
#include <string_view>

namespace dirty_seg {

/// `kind` is empty or ends in ": ".
inline void Tell(std::string_view text, const char* kind = "") {
  std::fprintf(stderr, "dirty_seg: %s%.*s\n", kind, static_cast<int>(text.size()), text.data());
}

inline void TellError(std::string_view text) { Tell(text, "error: "); }

inline void TellWarning(std::string_view text) { Tell(text, "warning: "); }

}  // namespace dirty_seg
