#include "frames/frame.h"

#include <fmt/format.h>

#include "console/messages.h"

namespace dirty_seg {

std::string FrameText(const std::string& source, std::optional<std::int64_t> number) {
  if (!number) return fmt::format("'{}'", source);
  return fmt::format("'{}' frame {}", source, *number);
}

std::string NameOf(const Frame& frame) {
  const bool is_one_of_many = frame.kind != InputKind::kPicture && frame.picture != nullptr;
  return FrameText(frame.source, is_one_of_many ? std::optional(frame.index) : std::nullopt);
}

void PrintDecoderWarning(const Frame& frame) {
  if (!frame.warning.empty()) PrintWarning(frame.warning);
}

}  // namespace dirty_seg
