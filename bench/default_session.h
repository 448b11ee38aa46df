// The inference runtime as one would otherwise use it.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "engine/ai_engine.h"

namespace bench {

/// A session with the runtime's default options: one thread a core, which spin between runs.
class DefaultSession {
 public:
  /// Of the network at `path`.
  explicit DefaultSession(const std::string& path);
  ~DefaultSession();

  /// Runs on the storage of `inputs` and `outputs`; the buffers of `inputs` have shapes too.
  void Run(std::map<std::string, nuvik::alg::common::AIBuff>& inputs,
           std::map<std::string, nuvik::alg::common::AIBuff>& outputs);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace bench
