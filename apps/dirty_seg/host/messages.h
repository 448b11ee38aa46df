// What the program says to a person: one line each on standard error.
#pragma once

#include <cstdio>
#include <string>

namespace dirty_seg {

inline void Tell(const std::string& text) { std::fprintf(stderr, "dirty_seg: %s\n", text.c_str()); }

inline void TellError(const std::string& text) { Tell("error: " + text); }

inline void TellWarning(const std::string& text) { Tell("warning: " + text); }

}  // namespace dirty_seg
