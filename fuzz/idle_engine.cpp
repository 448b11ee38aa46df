// An engine that accepts every network and computes nothing, for targets that are about what comes
// after it.
#include "engine/ai_engine.h"

namespace nuvik::alg::common {

class AIEngine::Impl {};

AIEngine::AIEngine() = default;
AIEngine::~AIEngine() = default;
int AIEngine::Init(const AIEngineConfig& /*config*/) { return 0; }
int AIEngine::DoInference(std::map<std::string, AIBuff>& /*inputs*/,
                          std::map<std::string, AIBuff>& /*outputs*/) {
  return kAIOk;
}

}  // namespace nuvik::alg::common
