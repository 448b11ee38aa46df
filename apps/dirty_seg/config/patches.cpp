#include "config/patches.h"

#include <fmt/format.h>

#include <array>

#include "geometry/letterbox.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

constexpr const char* kExample =
    "expected 'patch: {enable: true, patches: [[x, y, width, height], ...]}'";

// Reads a patch list, and records what is wrong with it.
class PatchListReader {
 public:
  explicit PatchListReader(std::vector<FileProblem>& findings) : findings_(findings) {}

  std::vector<ListedPatch> Read(const YAML::Node& root) {
    std::vector<ListedPatch> patches;
    const YAML::Node list = FindList(root);
    for (std::size_t i = 0; list.IsDefined() && i < list.size(); ++i) {
      ListedPatch patch{{}, i, LineOf(list[i])};
      if (ReadRectangle(list[i], patch) && IsInFrame(list[i], patch)) patches.push_back(patch);
    }
    return patches;
  }

 private:
  void Note(int line, const std::string& key, const std::string& text, const std::string& advice) {
    findings_.push_back({FileProblem::Kind::kError, line, text, advice, key});
  }

  // Undefined if there is no list to read.
  YAML::Node FindList(const YAML::Node& root) {
    const YAML::Node none(YAML::NodeType::Undefined);
    if (!root.IsMap() || !root["patch"].IsDefined()) {
      const bool is_host_file = root.IsMap() && root["model"].IsDefined();
      Note(0, "", "has no key 'patch', so there is nothing to look at",
           is_host_file ? "with model it is a host file; expected --host before it" : kExample);
      return none;
    }
    const YAML::Node patch = root["patch"];
    if (!patch.IsMap()) {
      Note(LineOf(patch), "patch", "patch is " + NodeText(patch), kExample);
      return none;
    }
    CheckSwitch(patch);
    const YAML::Node list = patch["patches"];
    if (!list.IsDefined() || list.IsNull() || (list.IsSequence() && list.size() == 0)) {
      Note(LineOf(patch), "patch.patches",
           "patch.patches has no entry, so there is nothing to look at", kExample);
      return none;
    }
    if (list.IsSequence()) return list;
    Note(LineOf(list), "patch.patches", "patch.patches is " + NodeText(list), kExample);
    return none;
  }

  void CheckSwitch(const YAML::Node& patch) {
    constexpr const char* kSwitch = "patch.enable";
    constexpr const char* kSwitchValues = "expected true or false";
    const YAML::Node enable = patch["enable"];
    bool is_enabled = false;
    if (!enable.IsDefined()) {
      Note(LineOf(patch), kSwitch, "patch.enable is missing", kSwitchValues);
    } else if (!YAML::convert<bool>::decode(enable, is_enabled)) {
      Note(LineOf(enable), kSwitch, "patch.enable is " + NodeText(enable), kSwitchValues);
    } else if (!is_enabled) {
      Note(LineOf(enable), kSwitch, "patches are disabled, so there is nothing to look at",
           "expected patch.enable true");
    }
  }

  bool ReadRectangle(const YAML::Node& entry, ListedPatch& patch) {
    const std::string name = PatchName(patch.index);
    if (!entry.IsSequence() || entry.size() < 4) {
      Note(patch.line, PatchKey(patch.index), name + " is " + NodeText(entry),
           "expected [x, y, width, height]");
      return false;
    }
    constexpr std::array<const char*, 4> kFields{"x", "y", "width", "height"};
    std::array<int, 4> values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (YAML::convert<int>::decode(entry[i], values[i])) continue;
      Note(patch.line, PatchKey(patch.index),
           fmt::format("{} {}: {} is {}", name, NodeText(entry), kFields[i], NodeText(entry[i])),
           "expected a whole number of pixels");
      return false;
    }
    patch.rectangle = {values[0], values[1], values[2], values[3]};
    return true;
  }

  bool IsInFrame(const YAML::Node& entry, const ListedPatch& patch) {
    const Fault fault = FindFault(patch.rectangle);
    if (fault.text.empty()) return true;
    Note(patch.line, PatchKey(patch.index),
         fmt::format("{} {} {}", PatchName(patch.index), NodeText(entry), fault.text),
         fault.advice);
    return false;
  }

  struct Fault {
    std::string text;
    std::string advice;
  };

  // What is wrong with the rectangle; empty if it is valid.
  static Fault FindFault(const cv::Rect& patch) {
    if (patch.x < 0 || patch.y < 0) {
      return {"begins left of or above the frame", "expected x, y >= 0"};
    }
    if (patch.width <= 0 || patch.height <= 0) return {"has no area", "expected width, height > 0"};
    if (patch.x >= geometry::kFrameWidth || patch.y >= geometry::kFrameHeight) {
      return {"lies outside the frame", fmt::format("expected x < {}, y < {}",
                                                    geometry::kFrameWidth, geometry::kFrameHeight)};
    }
    return {};
  }

  std::vector<FileProblem>& findings_;
};

}  // namespace

std::string PatchName(std::size_t index) { return fmt::format("patch {} (counted from 0)", index); }

std::string PatchKey(std::size_t index) { return fmt::format("patch.patches[{}]", index); }

std::vector<ListedPatch> ReadPatchList(const YAML::Node& root, std::vector<FileProblem>& findings) {
  return PatchListReader(findings).Read(root);
}

}  // namespace dirty_seg
