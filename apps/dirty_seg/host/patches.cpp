#include "host/patches.h"

#include <yaml-cpp/yaml.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "geometry/letterbox.h"
#include "host/errors.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

constexpr const char* kExample =
    "expected 'patch: {enable: true, patches: [[x, y, width, height], ...]}'";

// Builds the messages, each beginning with the file and, where there is one, the line.
class Reporter {
 public:
  explicit Reporter(const std::string& path) : file_("'" + path + "'") {}

  [[noreturn]] void Reject(const std::string& what) const { throw SetupError(file_ + ": " + what); }

  [[noreturn]] void Reject(const YAML::Mark& mark, const std::string& what) const {
    if (mark.is_null()) Reject(what);
    throw SetupError(file_ + " line " + std::to_string(mark.line + 1) + ": " + what);
  }

 private:
  std::string file_;
};

std::string Text(const YAML::Node& node) {
  if (!node.IsDefined() || node.IsNull()) return "empty";
  YAML::Emitter emitter;
  emitter << YAML::Flow << node;
  return std::string("'") + emitter.c_str() + "'";
}

YAML::Node Load(const std::string& path, const Reporter& reporter) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    reporter.Reject("is a folder; expected a YAML file");
  }
  errno = 0;
  std::ifstream file(path);
  if (!file) {
    reporter.Reject(std::string("cannot be opened: ") + std::strerror(errno == 0 ? ENOENT : errno));
  }
  try {
    return YAML::Load(file);
  } catch (const YAML::Exception& exception) {
    reporter.Reject(exception.mark, "is no valid YAML: " + exception.msg);
  }
}

YAML::Node FindPatchList(const YAML::Node& root, const Reporter& reporter) {
  if (!root.IsMap() || !root["patch"].IsDefined()) {
    reporter.Reject(std::string("has no key 'patch', so there is nothing to look at; ") + kExample);
  }
  const YAML::Node patch = root["patch"];
  if (!patch.IsMap()) reporter.Reject(patch.Mark(), "patch is " + Text(patch) + "; " + kExample);
  const YAML::Node enable = patch["enable"];
  if (!enable.IsDefined()) {
    reporter.Reject(patch.Mark(), "patch.enable is missing; expected true or false");
  }
  bool is_enabled = false;
  if (!YAML::convert<bool>::decode(enable, is_enabled)) {
    reporter.Reject(enable.Mark(), "patch.enable is " + Text(enable) + "; expected true or false");
  }
  if (!is_enabled) {
    reporter.Reject(enable.Mark(),
                    "patches are disabled, so there is nothing to look at; expected "
                    "patch.enable true");
  }
  const YAML::Node list = patch["patches"];
  if (!list.IsDefined() || list.IsNull() || (list.IsSequence() && list.size() == 0)) {
    reporter.Reject(
        patch.Mark(),
        std::string("patch.patches has no entry, so there is nothing to look at; ") + kExample);
  }
  if (!list.IsSequence()) {
    reporter.Reject(list.Mark(), "patch.patches is " + Text(list) + "; " + kExample);
  }
  return list;
}

cv::Rect ReadPatch(const YAML::Node& entry, const std::string& name, const Reporter& reporter) {
  if (!entry.IsSequence() || entry.size() < 4) {
    reporter.Reject(entry.Mark(), name + " is " + Text(entry) + "; expected [x, y, width, height]");
  }
  constexpr std::array<const char*, 4> kFields{"x", "y", "width", "height"};
  std::array<int, 4> values{};
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!YAML::convert<int>::decode(entry[i], values[i])) {
      reporter.Reject(entry.Mark(), name + " " + Text(entry) + ": " + kFields[i] + " is " +
                                        Text(entry[i]) + "; expected a whole number of pixels");
    }
  }
  return {values[0], values[1], values[2], values[3]};
}

// What is wrong with the rectangle; empty when nothing is.
std::string FindFault(const cv::Rect& patch) {
  if (patch.x < 0 || patch.y < 0) return "begins left of or above the frame; expected x, y >= 0";
  if (patch.width <= 0 || patch.height <= 0) return "has no area; expected width, height > 0";
  if (patch.x >= geometry::kFrameWidth || patch.y >= geometry::kFrameHeight) {
    return "lies outside the frame; expected x < " + std::to_string(geometry::kFrameWidth) +
           ", y < " + std::to_string(geometry::kFrameHeight);
  }
  return "";
}

}  // namespace

std::vector<cv::Rect> ReadPatches(const std::string& config_path) {
  const Reporter reporter(config_path);
  const YAML::Node root = Load(config_path, reporter);
  const YAML::Node list = FindPatchList(root, reporter);
  std::vector<cv::Rect> patches;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::string name = "patch " + std::to_string(i) + " (counted from 0)";
    patches.push_back(ReadPatch(list[i], name, reporter));
    if (const std::string fault = FindFault(patches.back()); !fault.empty()) {
      reporter.Reject(list[i].Mark(), name + " " + Text(list[i]) + " " + fault);
    }
  }
  return patches;
}

}  // namespace dirty_seg
