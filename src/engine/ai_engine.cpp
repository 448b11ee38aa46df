#include "engine/ai_engine.h"

#include <exception>
#include <stdexcept>

#include "common/diagnostics.h"
#include "engine/configured_tensors.h"
#include "engine/onnx_file.h"
#include "engine/onnx_session.h"
#include "engine/run_clock.h"
#include "engine/slot_plan.h"
#include "engine/workers.h"

namespace nuvik::alg::common {
namespace {

std::vector<BoundTensor> AtSlot(std::size_t slot, std::vector<BoundTensor> tensors) {
  for (BoundTensor& tensor : tensors) tensor.data += slot * tensor.tensor->bytes;
  return tensors;
}

}  // namespace

class AIEngine::Impl {
 public:
  // Throws what describes the fault.
  Impl(const AIEngineConfig& config, std::int64_t slots, int threads)
      : slots_(static_cast<std::size_t>(slots)),
        plan_(slots, threads),
        session_(config.model_path, plan_.operator_threads),
        inputs_(CheckInputs(config, session_.inputs(), slots)),
        outputs_(CheckOutputs(config, session_.outputs(), slots)),
        workers_(plan_.workers - 1) {
    WarmUp();
  }

  int DoInference(std::map<std::string, AIBuff>& inputs, std::map<std::string, AIBuff>& outputs) {
    std::vector<BoundTensor> bound_inputs;
    std::vector<BoundTensor> bound_outputs;
    bound_inputs.reserve(inputs_.size());
    bound_outputs.reserve(outputs_.size());
    if (const int status = Bind(inputs_, inputs, bound_inputs); status != kAIOk) return status;
    if (const int status = Bind(outputs_, outputs, bound_outputs); status != kAIOk) return status;
    Run(bound_inputs, bound_outputs);
    return kAIOk;
  }

 private:
  static int Bind(const std::vector<ConfiguredTensor>& tensors,
                  std::map<std::string, AIBuff>& buffers, std::vector<BoundTensor>& bound) {
    for (const ConfiguredTensor& tensor : tensors) {
      const auto buffer = buffers.find(tensor.slot.name);
      if (buffer == buffers.end() || buffer->second.data == nullptr) return kAIMissingBuffer;
      if (buffer->second.memory_type != kAIHostMemory) return kAIWrongMemory;
      if (buffer->second.data->size() != tensor.bytes) return kAIWrongSize;
      bound.push_back({&tensor.slot, buffer->second.data->data()});
    }
    return kAIOk;
  }

  // The tensors are those of the first slot.
  void Run(const std::vector<BoundTensor>& inputs, const std::vector<BoundTensor>& outputs) {
    workers_.ForEach(slots_, [this, &inputs, &outputs](std::size_t slot) {
      session_.Run(AtSlot(slot, inputs), AtSlot(slot, outputs));
    });
  }

  // The runtime plans its memory during the first run.
  void WarmUp() {
    std::vector<std::vector<std::uint8_t>> storage;
    const auto bind = [&storage](const std::vector<ConfiguredTensor>& tensors) {
      std::vector<BoundTensor> bound;
      bound.reserve(tensors.size());
      for (const ConfiguredTensor& tensor : tensors) {
        bound.push_back({&tensor.slot, storage.emplace_back(tensor.bytes).data()});
      }
      return bound;
    };
    const std::vector<BoundTensor> inputs = bind(inputs_);
    const std::vector<BoundTensor> outputs = bind(outputs_);
    try {
      Run(inputs, outputs);
    } catch (const SessionError& error) {
      throw std::invalid_argument(std::string("fails in a trial run on zeros: ") + error.what());
    }
  }

  std::size_t slots_;
  ThreadPlan plan_;
  OnnxSession session_;
  std::vector<ConfiguredTensor> inputs_;
  std::vector<ConfiguredTensor> outputs_;
  Workers workers_;  // gone before what they work on
};

AIEngine::AIEngine() = default;

AIEngine::~AIEngine() = default;

int AIEngine::Init(const AIEngineConfig& config) {
  impl_.reset();
  try {
    const int threads = ThreadsOf(config);
    const OnnxDescription declared = CheckModelFile(config.model_path);
    const std::int64_t slots = SlotsOf(config, declared);
    try {
      impl_ = std::make_unique<Impl>(config, slots, threads);
    } catch (const WorkerError&) {
      throw;
    } catch (const std::exception&) {
      // A batch that the file leaves open may be another size inside.
      if (slots == 1 || !HasOpenBatch(declared)) throw;
      impl_ = std::make_unique<Impl>(config, 1, threads);
    }
    return 0;
  } catch (const std::exception& error) {
    PrintError("'" + config.model_path + "': " + error.what());
    return -1;
  }
}

int AIEngine::DoInference(std::map<std::string, AIBuff>& inputs,
                          std::map<std::string, AIBuff>& outputs) {
  const RunClock clock;
  if (impl_ == nullptr) return kAINotInitialised;
  try {
    return impl_->DoInference(inputs, outputs);
  } catch (const std::exception& error) {
    PrintError(std::string("inference failed: ") + error.what());
    return kAIRuntimeFailure;
  }
}

}  // namespace nuvik::alg::common
