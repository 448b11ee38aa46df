#include "engine/configured_tensors.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

namespace nuvik::alg::common {
namespace {

// The configuration's maps for one direction.
struct ConfiguredMaps {
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

// Holds one configured tensor, of which the network takes one of `slots` at a time, against the
// network's.
ConfiguredTensor CheckTensor(const ConfiguredMaps& configured, const std::string& name,
                             const TensorInfo& info, std::int64_t slots, const std::string& where) {
  const auto type = ValueOr<std::uint32_t>(configured.types, name, kAIFloat32);
  if (info.data_type != type) {
    Reject(where + " is configured as " + TypeName(type) + ", the network has " + info.type_name);
  }
  const auto shape = configured.shapes.find(name);
  if (shape == configured.shapes.end()) {
    Reject(where + " has no configured shape, the network has " + ShapeText(info.shape));
  }
  Shape slot_shape = shape->second;
  if (slots > 1) slot_shape[0] = 1;
  if (!ShapeFits(slot_shape, info.shape)) {
    Reject(where + " is configured with shape " + ShapeText(shape->second) + ", the network has " +
           ShapeText(info.shape));
  }
  const std::optional<std::size_t> bytes = TensorBytes(type, shape->second);
  if (!bytes) {
    Reject(where + " has shape " + ShapeText(shape->second) + "; " + kSizeExpectation);
  }
  if (ValueOr<std::int32_t>(configured.memory_types, name, kAIHostMemory) != kAIHostMemory) {
    Reject(where + " is configured outside host memory; expected memory type 0");
  }
  const std::size_t slot_bytes = *bytes / static_cast<std::size_t>(slots);
  return {*bytes, {name, *info.data_type, std::move(slot_shape), slot_bytes}};
}

void CheckLength(const ConfiguredTensor& tensor, std::int32_t configured, const Shape& shape,
                 const std::string& where) {
  if (configured < 0 || static_cast<std::size_t>(configured) != tensor.bytes) {
    Reject(where + " is configured with " + std::to_string(configured) + " bytes, shape " +
           ShapeText(shape) + " of " + TypeName(tensor.slot.data_type) + " takes " +
           std::to_string(tensor.bytes));
  }
}

std::vector<ConfiguredTensor> CheckTensors(const ConfiguredMaps& configured,
                                           const std::vector<TensorInfo>& network,
                                           std::int64_t slots, bool length_is_optional) {
  std::vector<ConfiguredTensor> tensors;
  for (const auto& [name, bytes] : configured.sizes) {
    const std::string where = std::string(configured.direction) + " '" + name + "'";
    const TensorInfo& info = FindTensor(network, name, where);
    tensors.push_back(CheckTensor(configured, name, info, slots, where));
    if (bytes == 0 && length_is_optional) continue;
    CheckLength(tensors.back(), bytes, configured.shapes.at(name), where);
  }
  return tensors;
}

void CheckAllConfigured(const ConfiguredMaps& configured, const std::vector<TensorInfo>& network) {
  for (const TensorInfo& tensor : network) {
    if (configured.sizes.count(tensor.name) != 0) continue;
    Reject(std::string(configured.direction) + " '" + tensor.name +
           "' of the network is not configured; expected its length in bytes");
  }
}

}  // namespace

std::vector<ConfiguredTensor> CheckInputs(const AIEngineConfig& config,
                                          const std::vector<TensorInfo>& network,
                                          std::int64_t slots) {
  const ConfiguredMaps maps{"input", config.input_sizes, config.input_shapes, config.input_types,
                            config.input_memory_types};
  std::vector<ConfiguredTensor> inputs = CheckTensors(maps, network, slots, false);
  CheckAllConfigured(maps, network);
  return inputs;
}

std::vector<ConfiguredTensor> CheckOutputs(const AIEngineConfig& config,
                                           const std::vector<TensorInfo>& network,
                                           std::int64_t slots) {
  const ConfiguredMaps maps{"output", config.output_sizes, config.output_shapes,
                            config.output_types, config.output_memory_types};
  std::vector<ConfiguredTensor> outputs = CheckTensors(maps, network, slots, true);
  if (outputs.empty()) Reject("no output is configured; the network has " + Names(network));
  return outputs;
}

int ThreadsOf(const AIEngineConfig& config) {
  if (config.thread_count < 0 || config.thread_count > kAIMaxThreads) {
    Reject("thread count is " + std::to_string(config.thread_count) + "; expected 0 to " +
           std::to_string(kAIMaxThreads));
  }
  if (config.device_id != 0) {
    Reject("device " + std::to_string(config.device_id) + " is unknown; expected 0, the processor");
  }
  if (config.thread_count > 0) return config.thread_count;
  const auto cores = static_cast<int>(std::thread::hardware_concurrency());
  return std::clamp(cores, 1, kAIMaxThreads);
}

}  // namespace nuvik::alg::common
