#include "engine/ai_engine.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <thread>

#include "common/diagnostics.h"
#include "engine/onnx_session.h"
#include "network/tensor.h"

namespace nuvik::alg::common {
namespace {

// The configuration's maps for one direction.
struct ConfiguredTensors {
  const char* direction;
  const std::map<std::string, std::int32_t>& sizes;
  const std::map<std::string, Shape>& shapes;
  const std::map<std::string, std::uint32_t>& types;
  const std::map<std::string, std::int32_t>& memory_types;
};

[[noreturn]] void Reject(const std::string& what) { throw std::invalid_argument(what); }

template <typename Value>
Value ValueOr(const std::map<std::string, Value>& map, const std::string& name, Value fallback) {
  const auto entry = map.find(name);
  return entry == map.end() ? fallback : entry->second;
}

std::string Names(const std::vector<TensorInfo>& tensors) {
  std::string text;
  for (const TensorInfo& tensor : tensors) text += (text.empty() ? "'" : ", '") + tensor.name + "'";
  return text.empty() ? "none" : text;
}

const TensorInfo& FindTensor(const std::vector<TensorInfo>& tensors, const std::string& name,
                             const std::string& where) {
  for (const TensorInfo& tensor : tensors) {
    if (tensor.name == name) return tensor;
  }
  Reject(where + " is unknown to the network, which has " + Names(tensors));
}

// A rank that the file does not tell is left to the trial run.
bool ShapeFits(const Shape& configured, const Shape& network) {
  return network.empty() || std::equal(configured.begin(), configured.end(), network.begin(),
                                       network.end(), [](std::int64_t ours, std::int64_t theirs) {
                                         return ours > 0 && (theirs < 0 || theirs == ours);
                                       });
}

// Holds one configured tensor against the network's.
Tensor CheckTensor(const ConfiguredTensors& configured, const std::string& name,
                   const TensorInfo& info, const std::string& where) {
  const auto type = ValueOr<std::uint32_t>(configured.types, name, kAIFloat32);
  if (info.data_type != type) {
    Reject(where + " is configured as " + TypeName(type) + ", the network has " + info.type_name);
  }
  const auto shape = configured.shapes.find(name);
  if (shape == configured.shapes.end()) {
    Reject(where + " has no configured shape, the network has " + ShapeText(info.shape));
  }
  if (!ShapeFits(shape->second, info.shape)) {
    Reject(where + " is configured with shape " + ShapeText(shape->second) + ", the network has " +
           ShapeText(info.shape));
  }
  const std::optional<std::size_t> bytes = TensorBytes(type, shape->second);
  if (!bytes) {
    Reject(where + " has shape " + ShapeText(shape->second) +
           "; expected positive dimensions and at most 2147483647 bytes");
  }
  if (ValueOr<std::int32_t>(configured.memory_types, name, kAIHostMemory) != kAIHostMemory) {
    Reject(where + " is configured outside host memory; expected memory type 0");
  }
  return {name, *info.data_type, shape->second, *bytes};
}

void CheckLength(const Tensor& tensor, std::int32_t configured, const std::string& where) {
  if (configured < 0 || static_cast<std::size_t>(configured) != tensor.bytes) {
    Reject(where + " is configured with " + std::to_string(configured) + " bytes, shape " +
           ShapeText(tensor.shape) + " of " + TypeName(tensor.data_type) + " takes " +
           std::to_string(tensor.bytes));
  }
}

std::vector<Tensor> CheckTensors(const ConfiguredTensors& configured,
                                 const std::vector<TensorInfo>& network, bool length_is_optional) {
  std::vector<Tensor> tensors;
  for (const auto& [name, bytes] : configured.sizes) {
    const std::string where = std::string(configured.direction) + " '" + name + "'";
    const TensorInfo& info = FindTensor(network, name, where);
    tensors.push_back(CheckTensor(configured, name, info, where));
    if (bytes != 0 || !length_is_optional) CheckLength(tensors.back(), bytes, where);
  }
  return tensors;
}

void CheckAllConfigured(const ConfiguredTensors& configured,
                        const std::vector<TensorInfo>& network) {
  for (const TensorInfo& tensor : network) {
    if (configured.sizes.count(tensor.name) != 0) continue;
    Reject(std::string(configured.direction) + " '" + tensor.name +
           "' of the network is not configured; expected its length in bytes");
  }
}

int ThreadsOf(const AIEngineConfig& config) {
  if (config.thread_count < 0 || config.thread_count > kAIMostThreads) {
    Reject("thread count is " + std::to_string(config.thread_count) + "; expected 0 to " +
           std::to_string(kAIMostThreads));
  }
  if (config.device_id != 0) {
    Reject("device " + std::to_string(config.device_id) + " is unknown; expected 0, the processor");
  }
  if (config.thread_count > 0) return config.thread_count;
  const auto cores = static_cast<int>(std::thread::hardware_concurrency());
  return std::clamp(cores, 1, kAIMostThreads);
}

}  // namespace

class AIEngine::Impl {
 public:
  // Throws what describes the fault.
  explicit Impl(const AIEngineConfig& config) : session_(config.model_path, ThreadsOf(config)) {
    const ConfiguredTensors inputs{"input", config.input_sizes, config.input_shapes,
                                   config.input_types, config.input_memory_types};
    const ConfiguredTensors outputs{"output", config.output_sizes, config.output_shapes,
                                    config.output_types, config.output_memory_types};
    inputs_ = CheckTensors(inputs, session_.inputs(), false);
    CheckAllConfigured(inputs, session_.inputs());
    outputs_ = CheckTensors(outputs, session_.outputs(), true);
    if (outputs_.empty()) {
      Reject("no output is configured; the network has " + Names(session_.outputs()));
    }
    WarmUp();
  }

  int DoInference(std::map<std::string, AIBuff>& inputs, std::map<std::string, AIBuff>& outputs) {
    std::vector<BoundTensor> bound_inputs;
    std::vector<BoundTensor> bound_outputs;
    bound_inputs.reserve(inputs_.size());
    bound_outputs.reserve(outputs_.size());
    if (const int status = Bind(inputs_, inputs, bound_inputs); status != kAIOk) return status;
    if (const int status = Bind(outputs_, outputs, bound_outputs); status != kAIOk) return status;
    session_.Run(bound_inputs, bound_outputs);
    return kAIOk;
  }

 private:
  static int Bind(const std::vector<Tensor>& tensors, std::map<std::string, AIBuff>& buffers,
                  std::vector<BoundTensor>& bound) {
    for (const Tensor& tensor : tensors) {
      const auto buffer = buffers.find(tensor.name);
      if (buffer == buffers.end() || buffer->second.data == nullptr) return kAIMissingBuffer;
      if (buffer->second.memory_type != kAIHostMemory) return kAIWrongMemory;
      if (buffer->second.data->size() != tensor.bytes) return kAIWrongSize;
      bound.push_back({&tensor, buffer->second.data->data()});
    }
    return kAIOk;
  }

  // The runtime plans its memory during the first run.
  void WarmUp() {
    std::vector<std::vector<std::uint8_t>> storage;
    const auto bind = [&storage](const std::vector<Tensor>& tensors) {
      std::vector<BoundTensor> bound;
      bound.reserve(tensors.size());
      for (const Tensor& tensor : tensors) {
        bound.push_back({&tensor, storage.emplace_back(tensor.bytes).data()});
      }
      return bound;
    };
    const std::vector<BoundTensor> inputs = bind(inputs_);
    const std::vector<BoundTensor> outputs = bind(outputs_);
    try {
      session_.Run(inputs, outputs);
    } catch (const SessionError& error) {
      Reject(std::string("fails in a trial run on zeros: ") + error.what());
    }
  }

  OnnxSession session_;
  std::vector<Tensor> inputs_;
  std::vector<Tensor> outputs_;
};

AIEngine::AIEngine() = default;

AIEngine::~AIEngine() = default;

int AIEngine::Init(const AIEngineConfig& config) {
  impl_.reset();
  try {
    impl_ = std::make_unique<Impl>(config);
    return 0;
  } catch (const std::exception& error) {
    PrintError("'" + config.model_path + "': " + error.what());
    return -1;
  }
}

int AIEngine::DoInference(std::map<std::string, AIBuff>& inputs,
                          std::map<std::string, AIBuff>& outputs) {
  if (impl_ == nullptr) return kAINotInitialised;
  try {
    return impl_->DoInference(inputs, outputs);
  } catch (const std::exception& error) {
    PrintError(std::string("inference failed: ") + error.what());
    return kAIRuntimeFailure;
  }
}

}  // namespace nuvik::alg::common
