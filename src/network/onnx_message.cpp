#include "network/onnx_message.h"

#include <algorithm>
#include <ios>
#include <limits>

namespace nuvik::alg::common {

OnnxMessage OnnxMessage::Whole(std::istream& file) {
  file.seekg(0, std::ios::end);
  return {file, 0, static_cast<std::uint64_t>(std::max<std::streamoff>(0, file.tellg()))};
}

bool OnnxMessage::Next() {
  if (next_ >= end_) return false;
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(next_));
  const std::optional<std::uint64_t> key = ReadVarint();
  if (!key) return false;
  field_ = *key / 8;
  if (field_ == 0) return false;  // no field has this number; the runtime's reader ends here too
  value_ = 0;
  length_ = 0;
  switch (*key % 8) {
    case 0:
      return SetVarint();
    case 1:
      return SetBytes(8);
    case 2:
      return SetDelimited();
    case 3:  // The marks around a group, which no ONNX message has; its fields are read as any.
    case 4:
      return true;
    case 5:
      return SetBytes(4);
    default:
      return false;
  }
}

std::string OnnxMessage::Text(std::uint64_t most) const {
  std::string text(std::min(length_, most), '\0');
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(begin_));
  file_.read(text.data(), static_cast<std::streamsize>(text.size()));
  return text;
}

std::optional<std::uint64_t> OnnxMessage::ReadVarint() {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 64; shift += 7) {
    const int byte = file_.get();
    if (byte == std::istream::traits_type::eof() || ++next_ > end_) {
      needed_end_ = end_ + 1;
      return std::nullopt;
    }
    value |= (static_cast<std::uint64_t>(byte) & 0x7FU) << shift;
    if ((static_cast<unsigned>(byte) & 0x80U) == 0) return value;
  }
  return std::nullopt;
}

bool OnnxMessage::SetVarint() {
  const std::optional<std::uint64_t> value = ReadVarint();
  value_ = value.value_or(0);
  return value.has_value();
}

bool OnnxMessage::SetBytes(std::uint64_t length) {
  if (length > end_ - next_) {
    needed_end_ = next_ + std::min(length, std::numeric_limits<std::uint64_t>::max() - next_);
    return false;
  }
  begin_ = next_;
  length_ = length;
  next_ += length;
  return true;
}

bool OnnxMessage::SetDelimited() {
  const std::optional<std::uint64_t> length = ReadVarint();
  return length && SetBytes(*length);
}

}  // namespace nuvik::alg::common
