#include "network/onnx_message.h"

#include <algorithm>
#include <ios>
#include <limits>

namespace nuvik::alg::common {

// A part of the file in memory. Most fields are a few bytes: a call of the system for each would be
// most of the time.
class OnnxMessage::Window {
 public:
  explicit Window(std::istream& file) : file_(file) {
    file_.seekg(0, std::ios::end);
    file_size_ = static_cast<std::uint64_t>(std::max<std::streamoff>(0, file_.tellg()));
  }

  std::uint64_t file_size() const { return file_size_; }

  std::optional<std::uint8_t> ByteAt(std::uint64_t position) {
    if (!Holds(position, 1)) MoveTo(position);
    if (bytes_.empty()) return std::nullopt;
    return static_cast<std::uint8_t>(bytes_[position - begin_]);
  }

  // As long as `length` says: zeros stand for what cannot be read.
  std::string TextAt(std::uint64_t position, std::uint64_t length) {
    if (Holds(position, length)) return bytes_.substr(position - begin_, length);
    std::string text(length, '\0');
    Read(position, text);
    return text;
  }

 private:
  static constexpr std::uint64_t kBytes = 16384;

  bool Holds(std::uint64_t position, std::uint64_t length) const {
    return position >= begin_ && position - begin_ <= bytes_.size() &&
           length <= bytes_.size() - (position - begin_);
  }

  void MoveTo(std::uint64_t position) {
    begin_ = position;
    bytes_.resize(kBytes);
    bytes_.resize(Read(position, bytes_));
  }

  std::uint64_t Read(std::uint64_t position, std::string& bytes) {
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(position));
    file_.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<std::uint64_t>(file_.gcount());
  }

  std::istream& file_;
  std::uint64_t file_size_ = 0;
  std::uint64_t begin_ = 0;
  std::string bytes_;
};

OnnxMessage OnnxMessage::Whole(std::istream& file) {
  auto window = std::make_shared<Window>(file);
  const std::uint64_t size = window->file_size();
  return {std::move(window), 0, size};
}

bool OnnxMessage::Next() {
  if (next_ >= end_) return false;
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
  return file_->TextAt(begin_, std::min(length_, most));
}

std::optional<std::uint64_t> OnnxMessage::ReadVarint() {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 64; shift += 7) {
    const std::optional<std::uint8_t> byte = file_->ByteAt(next_);
    if (!byte || ++next_ > end_) {
      needed_end_ = end_ + 1;
      return std::nullopt;
    }
    value |= std::uint64_t{*byte & 0x7FU} << shift;
    if ((*byte & 0x80U) == 0) return value;
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
