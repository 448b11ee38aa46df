#include "files/yaml_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

#include "base/errors.h"
#include "files/open_failure.h"

namespace dirty_seg {

std::string SentenceOf(const FileProblem& finding) {
  return finding.text + (finding.advice.empty() ? "" : "; " + finding.advice);
}

std::string FileProblemText(const std::string& path, const FileProblem& finding) {
  const std::string line = finding.line == 0 ? "" : fmt::format(" line {}", finding.line);
  return fmt::format("'{}'{}: {}", path, line, SentenceOf(finding));
}

void RejectFile(const std::string& path, const FileProblem& finding) {
  throw SetupError(FileProblemText(path, finding));
}

void RejectFile(const std::string& path, int line, const std::string& what) {
  RejectFile(path, {FileProblem::Kind::kError, line, what, "", ""});
}

namespace {

// `source` is what YAML::Load takes.
template <typename Source>
YAML::Node Parse(Source& source, const std::string& name) try {
  return YAML::Load(source);
} catch (const YAML::Exception& exception) {
  const int line = exception.mark.is_null() ? 0 : exception.mark.line + 1;
  RejectFile(name, line, "is not valid YAML: " + exception.msg);
}

}  // namespace

YAML::Node LoadYaml(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    RejectFile(path, 0, "is a folder; expected a YAML file");
  }
  errno = 0;
  std::ifstream file(path);
  if (!file) RejectFile(path, 0, OpenFailure(errno));
  return Parse(file, path);
}

YAML::Node ParseYaml(const std::string& text, const std::string& name) { return Parse(text, name); }

int LineOf(const YAML::Node& node) {
  const YAML::Mark mark = node.Mark();
  return mark.is_null() ? 0 : mark.line + 1;
}

std::string NodeText(const YAML::Node& node) {
  if (!node.IsDefined() || node.IsNull()) return "empty";
  YAML::Emitter emitter;
  emitter << YAML::Flow << node;
  return fmt::format("'{}'", emitter.c_str());
}

void FindRepeatedKeys(const YAML::Node& mapping, const std::string& prefix,
                      std::vector<FileProblem>& findings) {
  std::map<std::string, int> lines;
  for (const auto& entry : mapping) {
    if (!entry.first.IsScalar()) continue;
    const int line = LineOf(entry.first);
    const auto [first, is_new] = lines.emplace(entry.first.Scalar(), line);
    if (is_new) continue;
    const std::string key = prefix + first->first;
    findings.push_back({FileProblem::Kind::kError, line,
                        fmt::format("{} is also in line {}", key, first->second),
                        "expected it once", key});
  }
}

}  // namespace dirty_seg
