#include "command_line/foreign_options.h"

#include <fmt/format.h>

#include <algorithm>

#include "network/postprocess_options.h"

namespace dirty_seg {
namespace {

// What other programs' options mean here.
struct Meaning {
  std::string key;     // of `postprocess`
  std::string option;  // that sets the same for one run, without dashes; empty: none
  std::vector<std::string> names;
};

const std::vector<Meaning>& Meanings() {
  static const std::vector<Meaning> meanings{
      {"score_threshold", "conf", {"conf-thres", "confidence", "score", "threshold"}},
      {"iou_threshold", "iou", {"iou-thres", "nms", "nms-threshold"}},
      {"max_detections", "max-det", {}},
      {"class_agnostic", "", {"agnostic", "agnostic-nms"}},
      {"mask_threshold", "mask-threshold", {"mask"}},
      {"classes", "classes", {"class"}}};
  return meanings;
}

std::string WithDashes(std::string name) {
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

bool Has(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// Without a key for an option of another kind.
Meaning MeaningOf(const std::string& name) {
  for (const Meaning& each : Meanings()) {
    if (name == WithDashes(each.key) || name == each.option || Has(each.names, name)) return each;
  }
  for (const auto& key : nuvik::model::PostprocessKeys()) {
    if (name == WithDashes(key.name)) return {key.name, "", {}};
  }
  return {};
}

}  // namespace

std::string HintForForeignOption(const std::string& option, const std::vector<std::string>& flags) {
  const std::string word = option.substr(0, option.find('='));
  const std::size_t dashes = std::min(word.find_first_not_of('-'), word.size());
  const Meaning meaning = MeaningOf(WithDashes(word.substr(dashes)));
  if (meaning.key.empty()) return "";
  const std::string flag = "--" + meaning.option;
  if (!Has(flags, flag)) {
    return fmt::format(
        "{} is not an option: the file that --config names sets this, as "
        "postprocess.{}",
        word, meaning.key);
  }
  return fmt::format(
      "{} is not an option: {} sets this for one run, and the file that --config "
      "names for every run, as postprocess.{}",
      word, dashes > 0 ? flag : meaning.option, meaning.key);
}

}  // namespace dirty_seg
