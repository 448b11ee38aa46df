#include "tensors/npy.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>

#include "base/errors.h"
#include "engine/ai_engine.h"
#include "files/open_failure.h"
#include "files/output_file.h"
#include "network/tensor.h"

namespace dirty_seg {
namespace {

using nuvik::alg::common::AIDataType;
using nuvik::alg::common::ElementBytes;
using nuvik::alg::common::NumpyOfType;
using nuvik::alg::common::NumpyTypes;
using nuvik::alg::common::TensorText;
using nuvik::alg::common::TypeName;
using nuvik::alg::common::TypeOfNumpy;

constexpr std::size_t kPreludeBytes = 10;  // magic, version, length of the header
constexpr std::size_t kAlignment = 64;     // of the data, so that it can be mapped
constexpr std::array<unsigned char, 8> kMagicAndVersion{0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0};

struct Header {
  std::optional<std::string> type;
  std::optional<bool> is_column_major;
  std::optional<std::vector<std::int64_t>> shape;
};

// Messages about one file.
class Reporter {
 public:
  explicit Reporter(const std::string& path) : path_(path) {}

  [[noreturn]] void Reject(const std::string& what) const {
    throw SetupError(fmt::format("'{}': {}", path_, what));
  }

 private:
  const std::string& path_;
};

// Parses the header's Python dictionary: strings, True and False, and tuples of integers.
class HeaderParser {
 public:
  HeaderParser(const std::string& text, const Reporter& reporter)
      : text_(text), reporter_(reporter) {}

  Header Parse() {
    Header header;
    Expect('{');
    while (!Take('}')) {
      ParseEntry(header);
      if (Take(',')) continue;
      Expect('}');
      break;
    }
    SkipBlanks();
    if (position_ != text_.size()) Reject("nothing more");
    if (!header.type) Reject("a key 'descr'");
    if (!header.is_column_major) Reject("a key 'fortran_order'");
    if (!header.shape) Reject("a key 'shape'");
    return header;
  }

 private:
  [[noreturn]] void Reject(const std::string& expected) const {
    reporter_.Reject(fmt::format("header, character {}: expected {}", position_, expected));
  }

  void ParseEntry(Header& header) {
    const std::string key = ParseText();
    Expect(':');
    if (key == "descr" && !header.type) {
      header.type = ParseText();
    } else if (key == "fortran_order" && !header.is_column_major) {
      header.is_column_major = ParseBool();
    } else if (key == "shape" && !header.shape) {
      header.shape = ParseShape();
    } else {
      Reject("'descr', 'fortran_order' and 'shape', each once");
    }
  }

  void SkipBlanks() {
    while (position_ < text_.size() && std::strchr(" \t\n", text_[position_]) != nullptr) {
      if (text_[position_] == '\0') break;  // strchr finds the end of its list too
      ++position_;
    }
  }

  bool Take(char wanted) {
    SkipBlanks();
    if (position_ == text_.size() || text_[position_] != wanted) return false;
    ++position_;
    return true;
  }

  void Expect(char wanted) {
    if (!Take(wanted)) Reject(fmt::format("'{}'", wanted));
  }

  std::string ParseText() {
    SkipBlanks();
    const char quote = position_ < text_.size() ? text_[position_] : '\0';
    if (quote != '\'' && quote != '"') Reject("a string");
    const std::size_t end = text_.find(quote, position_ + 1);
    if (end == std::string::npos) Reject("a string");
    std::string text = text_.substr(position_ + 1, end - position_ - 1);
    position_ = end + 1;
    return text;
  }

  bool ParseBool() {
    SkipBlanks();
    for (const bool value : {true, false}) {
      const std::string name = value ? "True" : "False";
      if (text_.compare(position_, name.size(), name) != 0) continue;
      position_ += name.size();
      return value;
    }
    Reject("True or False");
  }

  std::vector<std::int64_t> ParseShape() {
    std::vector<std::int64_t> shape;
    Expect('(');
    while (!Take(')')) {
      shape.push_back(ParseDimension());
      if (Take(',')) continue;
      if (shape.size() == 1) Reject("','");  // (3) is not a tuple
      Expect(')');
      break;
    }
    return shape;
  }

  std::int64_t ParseDimension() {
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    SkipBlanks();
    const std::size_t begin = position_;
    std::int64_t number = 0;
    for (; position_ < text_.size() && text_[position_] >= '0' && text_[position_] <= '9';
         ++position_) {
      const std::int64_t digit = text_[position_] - '0';
      if (number > (kMax - digit) / 10) Reject("a number of 64 bits");
      number = number * 10 + digit;
    }
    if (position_ == begin) Reject("a dimension");
    return number;
  }

  const std::string& text_;
  const Reporter& reporter_;
  std::size_t position_ = 0;
};

AIDataType FindType(const std::string& name, const Reporter& reporter) {
  if (const std::optional<AIDataType> type = TypeOfNumpy(name)) return *type;
  reporter.Reject(
      fmt::format("descr is '{}'; expected one of {}", name, fmt::join(NumpyTypes(), ", ")));
}

// Nothing if the number overflows 64 bits.
std::optional<std::uint64_t> CountBytes(AIDataType type, const std::vector<std::int64_t>& shape) {
  if (std::find(shape.begin(), shape.end(), 0) != shape.end()) return 0;
  std::uint64_t bytes = ElementBytes(type);
  for (const std::int64_t dimension : shape) {
    const auto factor = static_cast<std::uint64_t>(dimension);
    if (bytes > std::numeric_limits<std::uint64_t>::max() / factor) return std::nullopt;
    bytes *= factor;
  }
  return bytes;
}

std::string ReadAll(const std::string& path, const Reporter& reporter) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) reporter.Reject(OpenFailure(errno));
  std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) reporter.Reject("cannot be read to its end");
  return content;
}

// Returns the offset of the data.
std::size_t CheckPrelude(const std::string& content, const Reporter& reporter) {
  const auto matches = [&content](std::size_t count) {
    return content.size() >= count &&
           std::memcmp(content.data(), kMagicAndVersion.data(), count) == 0;
  };
  if (!matches(6)) reporter.Reject("is not a NumPy file: it does not begin with \\x93NUMPY");
  if (content.size() < kPreludeBytes) reporter.Reject("ends within its header");
  if (!matches(kMagicAndVersion.size())) {
    reporter.Reject(
        fmt::format("is of format version {}.{}; expected 1.0", int{content[6]}, int{content[7]}));
  }
  const std::size_t length =
      static_cast<unsigned char>(content[8]) +
      256U * static_cast<std::size_t>(static_cast<unsigned char>(content[9]));
  if (content.size() < kPreludeBytes + length) reporter.Reject("ends within its header");
  return kPreludeBytes + length;
}

// As numpy.save writes it.
std::string HeaderText(const std::string& type, const std::vector<std::int64_t>& shape) {
  std::string text = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}{}), }}",
                                 type, fmt::join(shape, ", "), shape.size() == 1 ? "," : "");
  const std::size_t used = (kPreludeBytes + text.size() + 1) % kAlignment;
  text.append((kAlignment - used) % kAlignment, ' ');
  return text + "\n";
}

}  // namespace

std::size_t NpyArray::ElementCount() const {
  std::size_t count = 1;
  for (const std::int64_t dimension : shape) count *= static_cast<std::size_t>(dimension);
  return count;
}

void WriteNpy(const std::string& path, const NpyArray& array) {
  const Reporter reporter(path);
  const std::optional<std::string> type = NumpyOfType(array.type);
  if (!type) reporter.Reject("no file holds " + TypeName(array.type));
  const std::string header = HeaderText(*type, array.shape);
  WholeFile file(path);
  std::string prelude(kMagicAndVersion.begin(), kMagicAndVersion.end());
  prelude += static_cast<char>(header.size() % 256);
  prelude += static_cast<char>(header.size() / 256);
  file.Write(prelude + header);
  file.Write({reinterpret_cast<const char*>(array.bytes.data()), array.bytes.size()});
  file.Keep();
}

NpyArray ReadNpy(const std::string& path) {
  const Reporter reporter(path);
  const std::string content = ReadAll(path, reporter);
  const std::size_t data = CheckPrelude(content, reporter);
  const std::string text = content.substr(kPreludeBytes, data - kPreludeBytes);
  const Header header = HeaderParser(text, reporter).Parse();
  const AIDataType type = FindType(*header.type, reporter);
  if (*header.is_column_major) {
    reporter.Reject("is in column-major order; expected numpy.ascontiguousarray's");
  }
  const std::optional<std::uint64_t> expected = CountBytes(type, *header.shape);
  if (expected != content.size() - data) {
    reporter.Reject(fmt::format("holds {} bytes of data; expected {} for {}", content.size() - data,
                                expected ? std::to_string(*expected) : "more than there can be",
                                TensorText(type, *header.shape)));
  }
  NpyArray array{type, *header.shape, {}};
  array.bytes.assign(content.begin() + static_cast<std::ptrdiff_t>(data), content.end());
  return array;
}

}  // namespace dirty_seg
