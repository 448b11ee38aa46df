#include "common/diagnostics.h"

#include <cstdio>

namespace nuvik {

void PrintError(const std::string& text) {
  std::fprintf(stderr, "libtessmar_ai_engine: %s\n", PrintableLine(text).c_str());
}

}  // namespace nuvik
