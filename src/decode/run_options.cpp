#include "decode/run_options.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/diagnostics.h"

namespace nuvik::model {
namespace {

std::string Place(const YAML::Mark& mark) {
  return mark.is_null() ? "" : " in line " + std::to_string(mark.line + 1);
}

}  // namespace

PostprocessOptions ReadRunOptions(const YAML::Node& root) {
  std::vector<PostprocessProblem> problems;
  PostprocessOptions options = ReadPostprocessOptions(root, problems);
  for (const PostprocessProblem& problem : problems) {
    const std::string text = problem.key + Place(problem.mark) + " " + problem.text;
    if (!problem.expected.empty()) {
      throw std::invalid_argument(text + "; expected " + problem.expected);
    }
    PrintError(text);
  }
  return options;
}

std::vector<float> ClassThresholds(const PostprocessOptions& options, int classes) {
  std::vector<float> thresholds(static_cast<std::size_t>(classes), options.score_threshold);
  for (const auto& [id, threshold] : options.score_thresholds) {
    if (id < classes) thresholds[static_cast<std::size_t>(id)] = threshold;
  }
  if (options.classes.empty()) return thresholds;
  const std::vector<int>& wanted = options.classes;
  for (int id = 0; id < classes; ++id) {
    if (std::find(wanted.begin(), wanted.end(), id) != wanted.end()) continue;
    thresholds[static_cast<std::size_t>(id)] = std::numeric_limits<float>::infinity();
  }
  return thresholds;
}

}  // namespace nuvik::model
