#include "engine/file_look.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "network/onnx_fields.h"
#include "network/onnx_message.h"

namespace nuvik::alg::common {
namespace {

constexpr std::size_t kMaxBeginning = 512;
constexpr std::size_t kMaxQuoted = 40;

constexpr const char* kExpected = "; expected an ONNX file";

struct Magic {
  std::size_t offset;
  std::string_view bytes;
  const char* kind;
};

constexpr std::array<Magic, 14> kMagics{{
    {0, "\x89PNG", "a PNG picture"},
    {0, "\xff\xd8\xff", "a JPEG picture"},
    {0, "GIF8", "a GIF picture"},
    {0, "%PDF", "a PDF document"},
    {0, "PK\x03\x04", "a ZIP archive, as PyTorch's files are"},
    {0, "\x1f\x8b", "a gzip archive"},
    {0,
     "\xfd"
     "7zXZ",
     "an xz archive"},
    {0, "\x28\xb5\x2f\xfd", "a Zstandard archive"},
    {0, "7z\xbc\xaf", "a 7-Zip archive"},
    {4, "TFL3", "a TensorFlow Lite network"},
    {0, "\x89HDF", "an HDF5 file, as Keras writes"},
    {0, "\x80\x02", "a Python pickle, as PyTorch's older files are"},
    {0, "\x93NUMPY", "a NumPy array"},
    {0, "GGUF", "a GGUF network"},
}};

std::string Beginning(std::istream& file) {
  std::string bytes(kMaxBeginning, '\0');
  file.clear();
  file.seekg(0);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  file.clear();
  return bytes;
}

bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// In small letters, after a byte order mark and white space.
std::string Markup(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (StartsWith(text, kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  std::string markup(first == std::string_view::npos ? "" : text.substr(first));
  std::transform(markup.begin(), markup.end(), markup.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return markup;
}

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0U) == 0x80U; }

// Bytes of the UTF-8 letter that begins with `c`; 0 if none does, or it is a control character.
std::size_t LetterLength(char c) {
  const auto byte = static_cast<unsigned char>(c);
  const bool is_space = byte >= 0x09U && byte <= 0x0dU;
  if (byte < 0x80U) return is_space || (byte >= 0x20U && byte != 0x7fU) ? 1 : 0;
  if (byte >= 0xc2U && byte < 0xe0U) return 2;
  if (byte >= 0xe0U && byte < 0xf0U) return 3;
  return byte >= 0xf0U && byte < 0xf5U ? 4 : 0;
}

// The last letter may be cut off.
bool IsText(std::string_view bytes) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    const std::size_t length = LetterLength(bytes[i]);
    if (length == 0) return false;
    const std::string_view rest = bytes.substr(i, length).substr(1);
    if (!std::all_of(rest.begin(), rest.end(), IsContinuation)) return false;
    i += length;
  }
  return true;
}

// The first line with anything in it, cut between letters.
std::string Quoted(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n\v\f"), text.size()));
  text = text.substr(0, text.find_first_of("\r\n\v\f"));
  if (text.size() <= kMaxQuoted) return '"' + std::string(text) + '"';
  std::size_t end = kMaxQuoted;
  while (IsContinuation(text[end])) --end;
  return '"' + std::string(text.substr(0, end)) + "...\"";
}

std::string LookOfText(const std::string& beginning) {
  const std::string markup = Markup(beginning);
  if (StartsWith(markup, "<!doctype html") || StartsWith(markup, "<html")) {
    return std::string("looks like an HTML page, as a download that was refused leaves it") +
           kExpected;
  }
  if (StartsWith(beginning, "version https://git-lfs")) {
    return "is a Git LFS pointer, not the file itself; expected the file that 'git lfs pull' "
           "fetches";
  }
  if (!IsText(beginning)) return "";
  return "is a text that begins with " + Quoted(beginning) + kExpected;
}

std::string LookOfMagic(std::string_view beginning) {
  for (const Magic& magic : kMagics) {
    if (beginning.size() > magic.offset &&
        StartsWith(beginning.substr(magic.offset), magic.bytes)) {
      return std::string("is ") + magic.kind + kExpected;
    }
  }
  const bool is_blank =
      std::all_of(beginning.begin(), beginning.end(), [](char c) { return c == 0; });
  return is_blank
             ? std::string("begins with zeros, as a download that was cut off can leave them") +
                   kExpected
             : "";
}

bool IsModelField(std::uint64_t field) {
  namespace model = onnx::model;
  return (field >= model::kIrVersion && field <= model::kOpset) || field == model::kMetadata ||
         field == model::kTraining || field == model::kFunction || field == model::kDevices;
}

// Every exporter writes the version first.
std::string LookOfPart(std::istream& file) {
  OnnxMessage model = OnnxMessage::Whole(file);
  if (!model.Next() || model.field() != onnx::model::kIrVersion) return "";
  while (model.Next()) {
    if (!IsModelField(model.field())) return "";
  }
  const std::uint64_t needed = model.needed_end();
  if (needed <= model.end() || needed > kMaxOnnxBytes || !IsModelField(model.field())) return "";
  return "ends in the middle: it has " + std::to_string(model.end()) +
         " bytes, and its contents announce at least " + std::to_string(needed) +
         "; expected the whole ONNX file";
}

}  // namespace

std::string LookOfNoNetwork(std::istream& file) {
  const std::string beginning = Beginning(file);
  if (beginning.empty()) return std::string("is empty") + kExpected;
  std::string look = LookOfText(beginning);
  if (look.empty()) look = LookOfMagic(beginning);
  return look.empty() ? LookOfPart(file) : look;
}

}  // namespace nuvik::alg::common
