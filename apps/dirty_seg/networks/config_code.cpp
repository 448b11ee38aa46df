#include "networks/config_code.h"

#include <fmt/format.h>
#include <yaml-cpp/yaml.h>

#include <array>
#include <cctype>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "base/utf8.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using nuvik::alg::common::AIEngineConfig;

// Block mappings, flow sequences, quoted text.
void Emit(const ordered_json& json, YAML::Emitter& emitter) {  // NOLINT(misc-no-recursion)
  if (json.is_object()) {
    emitter << (json.empty() ? YAML::Flow : YAML::Block) << YAML::BeginMap;
    for (const auto& [key, value] : json.items()) {
      emitter << YAML::Key << key << YAML::Value;
      Emit(value, emitter);
    }
    emitter << YAML::EndMap;
  } else if (json.is_array()) {
    emitter << YAML::Flow << YAML::BeginSeq;
    for (const ordered_json& value : json) Emit(value, emitter);
    emitter << YAML::EndSeq;
  } else if (json.is_string()) {
    const auto text = json.get<std::string>();
    if (!IsUtf8(text)) {
      throw SetupError(
          fmt::format("'{}': is not UTF-8, which is all that YAML holds; expected another name, or "
                      "--format cpp",
                      text));
    }
    emitter << YAML::DoubleQuoted << text;
  } else {
    emitter << json.dump();
  }
}

// Octal escapes have at most three digits, whatever follows.
std::string CppString(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\' || c == '?') {
      quoted += {'\\', c};
    } else if (byte >= 0x20U && byte < 0x7FU) {
      quoted += c;
    } else {
      quoted += fmt::format("\\{:03o}", byte);
    }
  }
  return quoted + "\"";
}

std::string CppValue(std::int32_t value) { return std::to_string(value); }

std::string CppValue(std::uint32_t type) {
  constexpr std::array<const char*, 6> kNames{"kAIUint8", "kAIFloat16", "kAIFloat32",
                                              "kAIInt32", "kAIInt64",   "kAIFloat64"};
  if (type < kNames.size()) return fmt::format("nuvik::alg::common::{}", kNames[type]);
  return fmt::format("{}U", type);
}

std::string CppValue(const std::vector<std::int64_t>& shape) {
  return fmt::format("{{{}}}", fmt::join(shape, ", "));
}

// One statement per tensor: an initializer list of pairs could match another constructor.
template <typename Value>
void AddEntries(const std::string& member, const std::map<std::string, Value>& map,
                std::string& code) {
  for (const auto& [name, value] : map) {
    code += fmt::format("{}[{}] = {};\n", member, CppString(name), CppValue(value));
  }
}

}  // namespace

ordered_json ConfigJson(const AIEngineConfig& config) {
  return {{"model_path", config.model_path},
          {"input_sizes", ordered_json(config.input_sizes)},
          {"output_sizes", ordered_json(config.output_sizes)},
          {"input_shapes", ordered_json(config.input_shapes)},
          {"output_shapes", ordered_json(config.output_shapes)},
          {"input_types", ordered_json(config.input_types)},
          {"output_types", ordered_json(config.output_types)},
          {"thread_count", config.thread_count},
          {"device_id", config.device_id}};
}

std::string ConfigYaml(const AIEngineConfig& config) {
  YAML::Emitter emitter;
  Emit(ConfigJson(config), emitter);
  return std::string(emitter.c_str()) + "\n";
}

std::string ConfigCpp(const AIEngineConfig& config, const std::string& name) {
  std::string code = fmt::format("nuvik::alg::common::AIEngineConfig {};\n", name);
  code += fmt::format("{}.model_path = {};\n", name, CppString(config.model_path));
  AddEntries(name + ".input_sizes", config.input_sizes, code);
  AddEntries(name + ".output_sizes", config.output_sizes, code);
  AddEntries(name + ".input_shapes", config.input_shapes, code);
  AddEntries(name + ".output_shapes", config.output_shapes, code);
  AddEntries(name + ".input_types", config.input_types, code);
  AddEntries(name + ".output_types", config.output_types, code);
  return code + fmt::format("{}.thread_count = {};\n", name, config.thread_count);
}

std::string VariableName(const std::string& path) {
  std::string name = std::filesystem::path(path).stem().string();
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 || static_cast<unsigned char>(c) > 0x7FU) {
      c = '_';
    }
  }
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) != 0) name = "net_" + name;
  return name + "_config";
}

}  // namespace dirty_seg
