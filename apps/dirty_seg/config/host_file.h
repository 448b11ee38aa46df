// The host file: options of the command line, kept in a file.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg {

/// An option and its value. Names are those of the long flags, without dashes.
struct HostEntry {
  std::string key;
  std::vector<std::string> values;
  int line = 0;
};

/// Options for one command only.
struct HostSection {
  std::string command;
  int line = 0;
  std::vector<HostEntry> entries;
};

struct HostFile {
  std::string path;
  /// For every command that has such an option.
  std::vector<HostEntry> shared;
  std::vector<HostSection> sections;
};

/// Reads a mapping of options to a value or a list of values, and of commands to such mappings.
/// Does not check that these options and commands exist. Throws SetupError, naming file and line,
/// for a file that cannot be opened, is not YAML or not such a mapping, and for a repeated key.
HostFile ReadHostFile(const std::string& path);

/// Resolves `path` against the host file's folder.
std::string BesideHostFile(const std::string& host_path, const std::string& path);

}  // namespace dirty_seg
