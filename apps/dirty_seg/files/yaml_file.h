// Reads YAML files, and reports what is wrong in them.
#pragma once

#include <yaml-cpp/yaml.h>

#include <string>
#include <vector>

namespace dirty_seg {

/// A problem in a file.
struct FileProblem {
  enum class Kind { kError, kWarning };
  Kind kind = Kind::kError;
  int line = 0;  // counted from 1; 0 for the file as a whole
  /// What is wrong.
  std::string text;
  /// What would be right; may be empty.
  std::string advice;
  /// Where in the file, as "patch.patches[2]"; empty for the file as a whole.
  std::string key;
};

/// "TEXT; ADVICE".
std::string SentenceOf(const FileProblem& finding);

/// "'PATH' line 3: TEXT; ADVICE".
std::string FileProblemText(const std::string& path, const FileProblem& finding);

/// Throws SetupError with that text: the file cannot be used.
[[noreturn]] void RejectFile(const std::string& path, const FileProblem& finding);

/// The same for something at `line`, 0 for the file as a whole.
[[noreturn]] void RejectFile(const std::string& path, int line, const std::string& what);

/// Throws SetupError, naming the file and its line, for a file that cannot be opened or is not
/// YAML.
YAML::Node LoadYaml(const std::string& path);

/// The same for a text, which messages call `name`.
YAML::Node ParseYaml(const std::string& text, const std::string& name);

/// Line of a node, counted from 1; 0 if it has none.
int LineOf(const YAML::Node& node);

/// The node as it is written in the file, on one line and in quotes; "empty" for none.
std::string NodeText(const YAML::Node& node);

/// Adds an error for each repeated key of `mapping`: the parser silently uses the first. `prefix`
/// goes before the key.
void FindRepeatedKeys(const YAML::Node& mapping, const std::string& prefix,
                      std::vector<FileProblem>& findings);

}  // namespace dirty_seg
