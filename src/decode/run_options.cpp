#include "decode/run_options.h"

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
  const PostprocessOptions options = ReadPostprocessOptions(root, problems);
  for (const PostprocessProblem& problem : problems) {
    const std::string text = problem.key + Place(problem.mark) + " " + problem.text;
    if (!problem.expected.empty()) {
      throw std::invalid_argument(text + "; expected " + problem.expected);
    }
    PrintError(text);
  }
  return options;
}

}  // namespace nuvik::model
