#include "engine/slot_plan.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "network/tensor.h"

namespace nuvik::alg::common {
namespace {

// The configured first dimension; 0 for a tensor without one.
std::int64_t BatchOf(const std::map<std::string, Shape>& shapes, const std::string& name) {
  const auto shape = shapes.find(name);
  return shape == shapes.end() || shape->second.empty() ? 0 : shape->second[0];
}

// Tensors that are not configured are not looked at.
bool HaveSlots(const std::vector<DeclaredTensor>& declared,
               const std::map<std::string, std::int32_t>& sizes,
               const std::map<std::string, Shape>& shapes, std::int64_t slots) {
  return std::all_of(declared.begin(), declared.end(), [&](const DeclaredTensor& tensor) {
    return sizes.count(tensor.name) == 0 ||
           (tensor.MayHoldOneSlot() && BatchOf(shapes, tensor.name) == slots);
  });
}

}  // namespace

std::int64_t SlotsOf(const AIEngineConfig& config, const OnnxDescription& declared) {
  if (declared.inputs.empty()) return 1;
  const std::int64_t slots = BatchOf(config.input_shapes, declared.inputs[0].name);
  const bool have_slots =
      slots > 1 && HaveSlots(declared.inputs, config.input_sizes, config.input_shapes, slots) &&
      HaveSlots(declared.outputs, config.output_sizes, config.output_shapes, slots);
  return have_slots ? slots : 1;
}

ThreadPlan::ThreadPlan(std::int64_t slots, int threads) {
  const std::int64_t rounds = (slots + threads - 1) / threads;
  workers = static_cast<int>((slots + rounds - 1) / rounds);
  operator_threads = threads - workers + 1;
}

}  // namespace nuvik::alg::common
