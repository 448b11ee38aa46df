#include "frames/frame.h"

#include <fmt/format.h>

namespace dirty_seg {

std::string NameOf(const Frame& frame) {
  const bool is_one_of_many = frame.kind != InputKind::kPicture && frame.picture != nullptr;
  if (!is_one_of_many) return fmt::format("'{}'", frame.source);
  return fmt::format("'{}' frame {}", frame.source, frame.index);
}

}  // namespace dirty_seg
