#include "networks/networks.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <numeric>
#include <stdexcept>

#include "base/errors.h"
#include "base/text.h"
#include "dirty_seg_detector/dirty_seg_detector_config.h"
#include "network/tensor.h"

namespace dirty_seg {
namespace {

using nuvik::alg::common::AIEngineConfig;
using nuvik::alg::common::kAIFloat32;
using nuvik::alg::common::Network;
using nuvik::alg::common::OpenDimensions;
using nuvik::alg::common::ReadNetwork;
using nuvik::alg::common::Shape;
using nuvik::alg::common::TensorText;
using nuvik::perception::dirty_seg_detector::kFeceInput;
using nuvik::perception::dirty_seg_detector::kFeceOutput;
using nuvik::perception::dirty_seg_detector::kFeceSide;

[[noreturn]] void Reject(const std::string& path, const std::string& what) {
  throw SetupError(fmt::format("'{}': {}", path, what));
}

Network Read(const std::string& path, const OpenDimensions& open, const std::string& role) {
  Network network;
  std::string cause;
  if (ReadNetwork(path, open, network, cause) == 0) return network;
  throw NetworkError(fmt::format("'{}': cannot be used as the {}", path, role), cause);
}

std::string Names(const std::map<std::string, std::int32_t>& sizes) {
  if (sizes.empty()) return "none";
  return JoinEach(sizes, [](const auto& entry) { return fmt::format("'{}'", entry.first); });
}

std::int64_t ElementCount(const Shape& shape) {
  return std::accumulate(shape.begin(), shape.end(), std::int64_t{1}, std::multiplies<>());
}

// The name of the one tensor; empty where there is another number of them.
std::string Only(const std::map<std::string, std::int32_t>& sizes) {
  return sizes.size() == 1 ? sizes.begin()->first : "";
}

bool IsFeceInput(std::uint32_t type, const Shape& shape) {
  return type == kAIFloat32 && shape == Shape{1, 3, kFeceSide, kFeceSide};
}

bool IsFeceOutput(std::uint32_t type, const Shape& shape) {
  return type == kAIFloat32 && ElementCount(shape) == 2;
}

// The command that makes a classifier of the file; empty where more than names is in the way.
std::string RenamingHint(const std::string& path, const AIEngineConfig& config) {
  const std::string input = Only(config.input_sizes);
  const bool has_output = config.output_sizes.count(kFeceOutput) != 0;
  const std::string output = has_output ? kFeceOutput : Only(config.output_sizes);
  if (input.empty() || !IsFeceInput(config.input_types.at(input), config.input_shapes.at(input)) ||
      output.empty() ||
      !IsFeceOutput(config.output_types.at(output), config.output_shapes.at(output))) {
    return "";
  }
  std::string command = fmt::format("dirty_seg rename-tensors {} renamed.onnx", ShellWord(path));
  if (input != kFeceInput) command += " " + ShellWord(fmt::format("{}={}", input, kFeceInput));
  if (!has_output) command += " " + ShellWord(fmt::format("{}={}", output, kFeceOutput));
  return "; this makes such a file: " + command;
}

void CheckFeceInput(const std::string& path, const AIEngineConfig& config) {
  if (config.input_sizes.size() != 1 || config.input_sizes.count(kFeceInput) == 0) {
    Reject(path, fmt::format("has inputs {}; expected the one input '{}'{}",
                             Names(config.input_sizes), kFeceInput, RenamingHint(path, config)));
  }
  const std::uint32_t type = config.input_types.at(kFeceInput);
  const Shape& shape = config.input_shapes.at(kFeceInput);
  const Shape expected{1, 3, kFeceSide, kFeceSide};
  if (!IsFeceInput(type, shape)) {
    Reject(path, fmt::format("input '{}' is {}; expected {}", kFeceInput, TensorText(type, shape),
                             TensorText(kAIFloat32, expected)));
  }
}

void CheckFeceOutput(const std::string& path, const AIEngineConfig& config) {
  if (config.output_sizes.count(kFeceOutput) == 0) {
    Reject(path, fmt::format("has outputs {}; expected one named '{}'{}",
                             Names(config.output_sizes), kFeceOutput, RenamingHint(path, config)));
  }
  const std::uint32_t type = config.output_types.at(kFeceOutput);
  const Shape& shape = config.output_shapes.at(kFeceOutput);
  if (!IsFeceOutput(type, shape)) {
    Reject(path, fmt::format("output '{}' is {}; expected two elements, {}", kFeceOutput,
                             TensorText(type, shape), TensorText(kAIFloat32, {1, 2})));
  }
}

template <typename Value>
void KeepOnly(const std::string& name, std::map<std::string, Value>& map) {
  map = {{name, map.at(name)}};
}

}  // namespace

nuvik::alg::common::OnnxDescription DescribeNetwork(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return {};
  std::ifstream file(path, std::ios::binary);
  return nuvik::alg::common::DescribeOnnxFile(file);
}

Network ReadSegmentationNetwork(const std::string& path, std::size_t patch_count, int threads) {
  OpenDimensions open;
  open.batch = static_cast<std::int64_t>(patch_count);
  Network network = Read(path, open, "segmentation network");
  AIEngineConfig& config = network.config;
  config.thread_count = threads;
  if (config.input_sizes.size() != 1) {
    Reject(path,
           fmt::format("has inputs {}; expected one, [N, 3, S, S]", Names(config.input_sizes)));
  }
  const auto& [name, shape] = *config.input_shapes.begin();
  const std::uint32_t type = config.input_types.at(name);
  if (type != kAIFloat32 || shape.size() != 4 || shape[1] != 3 || shape[2] != shape[3]) {
    Reject(path, fmt::format("input '{}' is {}; expected float32 [N, 3, S, S]", name,
                             TensorText(type, shape)));
  }
  if (shape[0] < open.batch) {
    ReadHead(path, config);  // a network of another kind needs no larger batch
    Reject(path, fmt::format("its batch of {0} is too small for the {1} patches of the "
                             "configuration; expected at most {0} {2}",
                             shape[0], patch_count, shape[0] == 1 ? "patch" : "patches"));
  }
  return network;
}

int InputSide(const AIEngineConfig& config) {
  return static_cast<int>(config.input_shapes.begin()->second.back());
}

nuvik::model::SegmentationHead ReadHead(const std::string& path, const AIEngineConfig& config) try {
  return nuvik::model::ReadSegmentationHead(config);
} catch (const std::invalid_argument& error) {
  Reject(path, error.what());
}

AIEngineConfig ReadFeceNetwork(const std::string& path, int threads) {
  AIEngineConfig config = Read(path, {1, kFeceSide, kFeceSide}, "classifier").config;
  config.thread_count = threads;
  CheckFeceInput(path, config);
  CheckFeceOutput(path, config);
  KeepOnly(kFeceOutput, config.output_sizes);
  KeepOnly(kFeceOutput, config.output_shapes);
  KeepOnly(kFeceOutput, config.output_types);
  return config;
}

}  // namespace dirty_seg
