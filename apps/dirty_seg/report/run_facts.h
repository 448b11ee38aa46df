// What a run's summary.json tells of it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace dirty_seg {

/// Facts of the run from its summary.json.
struct RunFacts {
  bool interrupted = false;
  bool complete = true;
  std::size_t inputs = 0;
  std::size_t failed_inputs = 0;
  std::string program;
  std::string model;
  std::string config;
  std::string fece_model;  // empty without a classifier
  /// Source and cause of each failure.
  std::vector<std::pair<std::string, std::string>> failures;
  std::string write_error;  // empty if everything was written
};

/// Reads the summary.json beside the results. A missing key leaves its default. One that cannot be
/// parsed, as a killed run leaves it, is reported on standard error and counts as missing.
std::optional<RunFacts> ReadRunFacts(const std::string& folder);

/// What found the results, as "network seg.onnx".
std::vector<std::string> FactTexts(const RunFacts& facts);

}  // namespace dirty_seg
