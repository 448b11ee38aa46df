// The file in which a person keeps what the flags would say.
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

/// What one command alone is told.
struct HostSection {
  std::string command;
  int line = 0;
  std::vector<HostEntry> entries;
};

struct HostFile {
  std::string path;
  /// Of every command that has such an option.
  std::vector<HostEntry> shared;
  std::vector<HostSection> sections;
};

/// A mapping of options to a value or a list of values, and of commands to such mappings. Whether
/// there are such options and commands is not looked at. Throws SetupError, naming file and line,
/// for a file that cannot be opened, is no YAML or anything but that, and for a key that stands
/// twice.
HostFile ReadHostFile(const std::string& path);

/// The path as seen from the host file's folder.
std::string BesideHostFile(const std::string& host_path, const std::string& path);

}  // namespace dirty_seg
