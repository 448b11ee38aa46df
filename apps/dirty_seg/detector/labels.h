// Names of the class ids in results.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "dirty_seg_detector/dirty_seg_detector_data.h"

namespace dirty_seg {

using nuvik::perception::dirty_seg_detector_data::kFeceLabel;
inline constexpr const char* kFaecesName = "faeces";

/// The kind of a detection. Its label alone is ambiguous if the network has a class 19 of its own.
struct Kind {
  int label = 0;
  /// Whether the classifier confirmed it.
  bool is_confirmed = false;
};

inline bool operator==(const Kind& a, const Kind& b) {
  return a.label == b.label && a.is_confirmed == b.is_confirmed;
}

/// By label, confirmed ones last.
inline bool operator<(const Kind& a, const Kind& b) {
  return a.label != b.label ? a.label < b.label : !a.is_confirmed && b.is_confirmed;
}

/// What the names of labels depend on.
struct LabelSources {
  /// As the segmentation network has them.
  std::map<std::int32_t, std::string> class_names;
  bool has_classifier = false;
  /// 0 if it is not known.
  std::int64_t class_count = 0;
};

class Labels {
 public:
  /// With a classifier, 19 is faeces unless the network has a class 19 of its own.
  explicit Labels(LabelSources sources);
  Labels(std::map<std::int32_t, std::string> class_names, bool has_classifier,
         std::int64_t class_count = 0)
      : Labels(LabelSources{std::move(class_names), has_classifier, class_count}) {}

  /// What it was made from.
  const LabelSources& sources() const { return sources_; }

  /// All labels that have a name.
  const std::map<std::int32_t, std::string>& names() const { return names_; }

  /// Null if the network has no name for the label.
  const std::string* FindName(int label) const;

  /// The name, or "class 7" without one. A confirmed one is "faeces", or "confirmed faeces" where
  /// the network's own class 19 has that name.
  std::string Text(const Kind& kind) const;

  /// Whether the label can only come from, or be joined with, a confirmation by the classifier.
  bool IsConfirmedFaeces(int label) const { return sources_.has_classifier && label == kFeceLabel; }

  /// Whether the network's own class 19 and what the classifier confirms have one label.
  bool share_faeces_label() const { return is_shared_; }

  /// The label; if it is shared, a confirmed one has the first id above all classes instead.
  std::int64_t IdOf(const Kind& kind) const;

 private:
  LabelSources sources_;
  std::map<std::int32_t, std::string> names_;
  std::int64_t class_count_;
  bool is_shared_;
};

}  // namespace dirty_seg
