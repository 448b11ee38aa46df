#include "report/run_facts.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "base/base64.h"
#include "console/messages.h"
#include "files/result_names.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

template <typename T>
void Take(const nlohmann::json::object_t& json, const char* key, T& value) {
  const auto entry = json.find(key);
  if (entry != json.end() && !entry->second.is_null()) value = entry->second.get<T>();
}

}  // namespace

std::optional<RunFacts> ReadRunFacts(const std::string& folder) {
  const std::string path = (fs::path(folder) / kSummaryFile).string();
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) return std::nullopt;
  try {
    const auto json = nlohmann::json::parse(file).get<nlohmann::json::object_t>();
    RunFacts facts;
    Take(json, "interrupted", facts.interrupted);
    Take(json, "complete", facts.complete);
    Take(json, "inputs", facts.inputs);
    Take(json, "failed", facts.failed_inputs);
    Take(json, "program", facts.program);
    Take(json, "model", facts.model);
    Take(json, "config", facts.config);
    Take(json, "fece_model", facts.fece_model);
    Take(json, "write_error", facts.write_error);
    std::vector<nlohmann::json> failures;
    Take(json, "failures", failures);
    for (const nlohmann::json& failure : failures) {
      const auto bytes = BytesOfBase64(failure.value("source_bytes", ""));
      const bool has_bytes = bytes && !bytes->empty();
      facts.failures.emplace_back(has_bytes ? *bytes : failure.at("source").get<std::string>(),
                                  failure.at("cause").get<std::string>());
    }
    return facts;
  } catch (const nlohmann::json::exception& error) {
    PrintWarning(
        fmt::format("'{}' is not a summary that 'dirty_seg detect' wrote, and is left out: {}",
                    path, error.what()));
    return std::nullopt;
  }
}

std::vector<std::string> FactTexts(const RunFacts& facts) {
  std::vector<std::string> texts;
  const auto add = [&texts](const std::string& what, const std::string& value) {
    if (!value.empty()) texts.push_back(what + fs::path(value).filename().string());
  };
  add("network ", facts.model);
  add("configuration ", facts.config);
  add("classifier ", facts.fece_model);
  if (!facts.program.empty()) texts.push_back("found by " + facts.program);
  return texts;
}

}  // namespace dirty_seg
