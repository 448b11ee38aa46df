// An AIEngineConfig as JSON, YAML and C++ code, to be pasted into a host.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "engine/ai_engine.h"

namespace dirty_seg {

/// Members by name; a type as its AIDataType.
nlohmann::ordered_json ConfigJson(const nuvik::alg::common::AIEngineConfig& config);

/// The same as YAML.
std::string ConfigYaml(const nuvik::alg::common::AIEngineConfig& config);

/// Statements that make a variable `name`, with <engine/ai_engine.h> included.
std::string ConfigCpp(const nuvik::alg::common::AIEngineConfig& config, const std::string& name);

/// A variable name made from the file name: "models/dirt-seg.onnx" is dirt_seg.
std::string VariableName(const std::string& path);

}  // namespace dirty_seg
