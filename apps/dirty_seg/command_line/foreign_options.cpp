#include "command_line/foreign_options.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "network/postprocess_options.h"

namespace dirty_seg {
namespace {

// Names of options, without dashes, and the key that they mean.
const std::vector<std::pair<const char*, std::vector<const char*>>>& Foreign() {
  static const std::vector<std::pair<const char*, std::vector<const char*>>> foreign{
      {"score_threshold", {"conf", "conf-thres", "confidence", "score", "threshold"}},
      {"iou_threshold", {"iou", "iou-thres", "nms", "nms-threshold"}},
      {"max_detections", {"max-det"}},
      {"class_agnostic", {"agnostic", "agnostic-nms"}},
      {"mask_threshold", {"mask"}},
      {"classes", {"class"}}};
  return foreign;
}

std::string WithDashes(std::string name) {
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

// The key of `postprocess` that the option would set; empty for another.
std::string KeyOf(const std::string& name) {
  for (const auto& key : nuvik::model::PostprocessKeys()) {
    if (WithDashes(key.name) == name) return key.name;
  }
  for (const auto& [key, names] : Foreign()) {
    if (std::find(names.begin(), names.end(), name) != names.end()) return key;
  }
  return "";
}

}  // namespace

std::string HintForForeignOption(const std::string& option) {
  const std::string word = option.substr(0, option.find('='));
  const std::string name =
      WithDashes(word.substr(std::min(word.find_first_not_of('-'), word.size())));
  const std::string key = KeyOf(name);
  if (key.empty()) return "";
  return word + " is not an option: the file that --config names sets this, as postprocess." + key;
}

}  // namespace dirty_seg
