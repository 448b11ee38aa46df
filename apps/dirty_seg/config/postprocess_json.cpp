#include "config/postprocess_json.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string>
#include <variant>

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

template <typename Value>
ordered_json ToJson(const Value& value) {
  return value;
}

// As short as it reads back: not what a double has of a float.
ordered_json ToJson(float value) { return ordered_json::parse(fmt::format("{}", value)); }

// JSON has texts for keys.
ordered_json ToJson(const std::map<int, float>& thresholds) {
  ordered_json json = ordered_json::object();
  for (const auto& [id, threshold] : thresholds) json[std::to_string(id)] = ToJson(threshold);
  return json;
}

}  // namespace

ordered_json PostprocessToJson(const nuvik::model::PostprocessOptions& options) {
  ordered_json json;
  for (const nuvik::model::PostprocessKey& key : nuvik::model::PostprocessKeys()) {
    std::visit([&](const auto member) { json[key.name] = ToJson(options.*member); }, key.member);
  }
  if (options.classes.empty()) json.erase("classes");
  return json;
}

}  // namespace dirty_seg
