#include "detector/labels.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace dirty_seg {
namespace {

// There may be names of more classes than the count says.
std::int64_t CountClasses(const std::map<std::int32_t, std::string>& names, std::int64_t known) {
  return names.empty() ? known : std::max(known, std::int64_t{names.rbegin()->first} + 1);
}

}  // namespace

Labels::Labels(LabelSources sources)
    : sources_(std::move(sources)),
      names_(sources_.class_names),
      class_count_(CountClasses(names_, sources_.class_count)),
      is_shared_(sources_.has_classifier &&
                 (sources_.class_count > kFeceLabel || names_.count(kFeceLabel) != 0)) {
  if (sources_.has_classifier && !is_shared_) names_[kFeceLabel] = kFaecesName;
}

const std::string* Labels::FindName(int label) const {
  const auto entry = names_.find(label);
  return entry == names_.end() ? nullptr : &entry->second;
}

std::string Labels::Text(const Kind& kind) const {
  const std::string* name = FindName(kind.label);
  if (kind.is_confirmed) {
    const bool is_taken = is_shared_ && name != nullptr && *name == kFaecesName;
    return is_taken ? fmt::format("confirmed {}", kFaecesName) : kFaecesName;
  }
  return name == nullptr ? fmt::format("class {}", kind.label) : *name;
}

std::int64_t Labels::IdOf(const Kind& kind) const {
  return kind.is_confirmed && is_shared_ ? class_count_ : kind.label;
}

}  // namespace dirty_seg
