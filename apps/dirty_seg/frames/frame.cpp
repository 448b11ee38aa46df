#include "frames/frame.h"

namespace dirty_seg {

std::string NameOf(const Frame& frame) {
  const std::string name = "'" + frame.source + "'";
  const bool is_one_of_many = frame.kind != InputKind::kPicture && frame.picture != nullptr;
  return is_one_of_many ? name + " frame " + std::to_string(frame.index) : name;
}

}  // namespace dirty_seg
