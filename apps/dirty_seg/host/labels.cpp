#include "host/labels.h"

#include <utility>

namespace dirty_seg {

Labels::Labels(std::map<std::int32_t, std::string> class_names, bool has_classifier)
    : names_(std::move(class_names)), has_classifier_(has_classifier) {
  if (has_classifier_) names_[kFaecesLabel] = kFaecesName;
}

const std::string* Labels::FindName(int label) const {
  const auto entry = names_.find(label);
  return entry == names_.end() ? nullptr : &entry->second;
}

std::string Labels::Text(int label) const {
  const std::string* name = FindName(label);
  return name == nullptr ? "class " + std::to_string(label) : *name;
}

}  // namespace dirty_seg
