#include "files/earlier_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <vector>

#include "base/errors.h"
#include "files/result_names.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::array<const char*, 4> kFilesOfARun{kSummaryFile, kCocoResultsFile, kCocoImagesFile,
                                                  kPolygonsFile};

// Whether a run uses this name for a file directly in its folder.
bool IsOfARun(const std::string& name) {
  if (name.size() > kMaxFileName || name.find('/') != std::string::npos) return false;
  return IsNameOfAResult(name) ||
         std::find(kFilesOfARun.begin(), kFilesOfARun.end(), name) != kFilesOfARun.end();
}

// Whether it is a text file in the labels folder.
bool IsOfLabels(const fs::path& name) {
  return name.has_filename() && name.extension() == ".txt" &&
         name == fs::path(kLabelsFolder) / name.filename();
}

// Does not follow links, which may lead anywhere.
bool IsA(fs::file_type type, const fs::path& path) {
  std::error_code ignored;
  return fs::symlink_status(path, ignored).type() == type;
}

void Remove(const fs::path& folder, const std::string& name) {
  if (name.find('\0') != std::string::npos) return;  // the system would cut the name there
  const bool is_label = IsOfLabels(name) && IsA(fs::file_type::directory, folder / kLabelsFolder);
  if (!is_label && !IsOfARun(name)) return;
  RemovePlainFile(folder / name);
  RemovePlainFile(folder / (name + ".part"));
}

std::vector<std::string> NamesInList(const fs::path& path) {
  std::vector<std::string> names;
  std::ifstream list(path, std::ios::binary);
  for (std::string name; std::getline(list, name);) names.push_back(name);
  return names;
}

void AddName(const json& object, const char* key, std::vector<std::string>& names) {
  const auto name = object.find(key);
  if (name != object.end() && name->is_string()) names.push_back(name->get<std::string>());
}

// Names in the lines that can be parsed.
std::vector<std::string> NamesInResults(const fs::path& results) {
  std::vector<std::string> names;
  std::ifstream lines(results, std::ios::binary);
  for (std::string line; std::getline(lines, line);) {
    const json root = json::parse(line, nullptr, false);
    if (!root.is_object()) continue;
    if (names.empty()) names.emplace_back(kSummaryFile);  // of a run that wrote a line
    AddName(root, "overlay", names);
    const auto masks = root.find("label_masks");
    if (masks == root.end() || !masks->is_object()) continue;
    for (const json& mask : *masks) {
      if (mask.is_object()) AddName(mask, "file", names);
    }
  }
  return names;
}

}  // namespace

void RemovePlainFile(const fs::path& path) {
  if (!IsA(fs::file_type::regular, path)) return;
  std::error_code error;
  fs::remove(path, error);
  if (!error) return;
  throw OutputError(
      fmt::format("'{}' of an earlier run cannot be removed: {}", path.string(), error.message()));
}

void RemoveEarlierRun(const std::string& folder) {
  const fs::path path(folder);
  const fs::path labels = path / kLabelsFolder;
  const bool has_list = IsA(fs::file_type::regular, path / kListFile);
  bool made_labels = false;
  for (const std::string& name :
       has_list ? NamesInList(path / kListFile) : NamesInResults(path / kResultsFile)) {
    Remove(path, name);
    made_labels = made_labels || name == std::string(kLabelsFolder) + "/";
  }
  std::error_code not_empty;
  if (made_labels && IsA(fs::file_type::directory, labels)) fs::remove(labels, not_empty);
}

}  // namespace dirty_seg
