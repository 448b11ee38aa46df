// Bytes as a model file through the reader and the engine: refused with a negative result, or
// loaded and run. What the file asks for is computed only where it stays small, since a network
// may ask for any amount of work.
#include "engine/ai_engine.h"
#include "engine/network_reader.h"
#include "input.h"
#include "support/memory_file.h"

namespace {

using fuzz::Require;
using nuvik::alg::common::AIBuff;
using nuvik::alg::common::AIEngine;
using nuvik::alg::common::AIEngineConfig;
using nuvik::alg::common::Network;
using nuvik::alg::common::ReadNetwork;
using Buffers = std::map<std::string, AIBuff>;

constexpr std::int64_t kMaxBytes = 1 << 24;

std::int64_t BytesOf(const std::map<std::string, std::int32_t>& sizes) {
  std::int64_t bytes = 0;
  for (const auto& [name, size] : sizes) bytes += size;
  return bytes;
}

Buffers MakeBuffers(const std::map<std::string, std::int32_t>& sizes) {
  Buffers buffers;
  for (const auto& [name, size] : sizes) {
    buffers[name].data->resize(static_cast<std::size_t>(size));
  }
  return buffers;
}

void Infer(AIEngine& engine, const AIEngineConfig& config) {
  Buffers inputs = MakeBuffers(config.input_sizes);
  Buffers outputs = MakeBuffers(config.output_sizes);
  const int status = engine.DoInference(inputs, outputs);
  Require(status == nuvik::alg::common::kAIOk || status == nuvik::alg::common::kAIRuntimeFailure,
          "an engine that took the network takes its buffers");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nuvik::test::MemoryFile file(data, size);
  Network network;
  std::string error;
  const int status = ReadNetwork(file.path(), {1, 32, 32}, network, error);
  AIEngineConfig& config = network.config;
  if (status != 0) {
    Require(config.model_path.empty() && config.input_sizes.empty(), "a refusal changes nothing");
    Require(!error.empty(), "a refusal has a cause");
    config.model_path = file.path();
  }
  config.thread_count = 1;
  if (BytesOf(config.input_sizes) + BytesOf(config.output_sizes) > kMaxBytes) return 0;
  AIEngine engine;
  const bool is_ready = engine.Init(config) >= 0;
  Require(status == 0 || !is_ready, "what the reader refuses, the engine refuses");
  if (is_ready) Infer(engine, config);
  return 0;
}
