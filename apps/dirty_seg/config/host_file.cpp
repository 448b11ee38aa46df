#include "config/host_file.h"

#include <filesystem>
#include <utility>

#include "files/yaml_file.h"

namespace dirty_seg {
namespace {

HostEntry ReadEntry(const std::string& path, const std::string& key, int line,
                    const YAML::Node& value) {
  HostEntry entry{key, {}, line};
  if (value.IsScalar()) {
    entry.values.push_back(value.Scalar());
    return entry;
  }
  if (value.IsSequence()) {
    for (const YAML::Node& item : value) {
      if (!item.IsScalar()) {
        RejectFile(path, LineOf(item),
                   key + " has " + NodeText(item) + " in its list; expected values");
      }
      entry.values.push_back(item.Scalar());
    }
  }
  if (entry.values.empty()) {
    RejectFile(path, line,
               key + " is " + NodeText(value) + "; expected a value or a list of values");
  }
  return entry;
}

std::string KeyOf(const std::string& path, const YAML::Node& key) {
  if (!key.IsScalar()) {
    RejectFile(path, LineOf(key), NodeText(key) + " is not a key; expected a word");
  }
  return key.Scalar();
}

void RejectRepeatedKeys(const std::string& path, const YAML::Node& mapping) {
  std::vector<FileProblem> findings;
  FindRepeatedKeys(mapping, "", findings);
  if (!findings.empty()) RejectFile(path, findings.front());
}

HostSection ReadSection(const std::string& path, const std::string& command, int line,
                        const YAML::Node& mapping) {
  HostSection section{command, line, {}};
  RejectRepeatedKeys(path, mapping);
  for (const auto& entry : mapping) {
    section.entries.push_back(
        ReadEntry(path, KeyOf(path, entry.first), LineOf(entry.first), entry.second));
  }
  return section;
}

}  // namespace

HostFile ReadHostFile(const std::string& path) {
  HostFile file;
  file.path = path;
  const YAML::Node root = LoadYaml(path);
  if (root.IsNull()) return file;
  if (!root.IsMap()) {
    RejectFile(path, LineOf(root), "is not a mapping; expected lines like 'model: seg.onnx'");
  }
  RejectRepeatedKeys(path, root);
  for (const auto& entry : root) {
    const std::string key = KeyOf(path, entry.first);
    const int line = LineOf(entry.first);
    if (key == "patch") {
      RejectFile(
          path, line,
          "patch is of a detector's configuration, not of a host file; expected --config " + path);
    }
    // A command whose lines are all commented out has no value.
    if (entry.second.IsMap() || entry.second.IsNull()) {
      file.sections.push_back(ReadSection(path, key, line, entry.second));
    } else {
      file.shared.push_back(ReadEntry(path, key, line, entry.second));
    }
  }
  return file;
}

std::string BesideHostFile(const std::string& host_path, const std::string& path) {
  return (std::filesystem::path(host_path).parent_path() / path).lexically_normal().string();
}

}  // namespace dirty_seg
