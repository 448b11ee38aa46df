// What the class ids of a result are called.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace dirty_seg {

/// The label that the detector gives to what its classifier confirmed.
inline constexpr int kFaecesLabel = 19;
inline constexpr const char* kFaecesName = "faeces";

class Labels {
 public:
  /// `class_names` as the segmentation network carries them; `has_classifier` makes 19 faeces.
  Labels(std::map<std::int32_t, std::string> class_names, bool has_classifier);

  /// All labels that have a name.
  const std::map<std::int32_t, std::string>& names() const { return names_; }

  /// Null where the network has no name for the label.
  const std::string* FindName(int label) const;

  /// The name, or "class 7" without one.
  std::string Text(int label) const;

  /// Whether the label can only come from, or be joined with, a confirmation by the classifier.
  bool IsConfirmedFaeces(int label) const { return has_classifier_ && label == kFaecesLabel; }

 private:
  std::map<std::int32_t, std::string> names_;
  bool has_classifier_;
};

}  // namespace dirty_seg
