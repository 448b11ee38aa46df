// The messages that an ONNX file is made of, read in place.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace nuvik::alg::common {

/// A message of Protocol Buffers, which an ONNX file is, is no larger.
inline constexpr std::uint64_t kMaxOnnxBytes = 2147483647;

/// One message, read field by field. What does not add up ends it: the runtime will refuse the
/// file.
class OnnxMessage {
 public:
  /// The whole of `file`, which outlives the message and those within it; they move its position.
  static OnnxMessage Whole(std::istream& file);

  /// Goes on to the next field.
  bool Next();

  /// Where in the file it ends, and where it had to end for all that the field in hand announces:
  /// farther out when the message is cut off there, which ends it.
  std::uint64_t end() const { return end_; }
  std::uint64_t needed_end() const { return needed_end_; }

  /// Number and value of the field in hand.
  std::uint64_t field() const { return field_; }
  std::int64_t integer() const { return static_cast<std::int64_t>(value_); }
  OnnxMessage message() const { return {file_, begin_, begin_ + length_}; }
  /// At most `most` bytes of it.
  std::string Text(std::uint64_t most = 1024) const;

 private:
  class Window;

  OnnxMessage(std::shared_ptr<Window> file, std::uint64_t begin, std::uint64_t end)
      : file_(std::move(file)), next_(begin), end_(end) {}

  std::optional<std::uint64_t> ReadVarint();
  bool SetVarint();
  bool SetBytes(std::uint64_t length);
  bool SetDelimited();

  std::shared_ptr<Window> file_;
  std::uint64_t next_;
  std::uint64_t end_;
  std::uint64_t needed_end_ = 0;
  std::uint64_t field_ = 0;
  std::uint64_t value_ = 0;
  std::uint64_t begin_ = 0;
  std::uint64_t length_ = 0;
};

}  // namespace nuvik::alg::common
