#include "console/engine_text.h"

#include "base/text.h"

namespace dirty_seg {

std::string EngineText(const std::vector<std::string>& lines) {
  return JoinEach(
      lines,
      [](const std::string& line) {
        const bool is_of_engine = line.compare(0, kEngineSpeaker.size(), kEngineSpeaker) == 0;
        return is_of_engine ? line.substr(kEngineSpeaker.size()) : line;
      },
      "; ");
}

}  // namespace dirty_seg
