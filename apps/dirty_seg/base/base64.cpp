#include "base/base64.h"

#include <algorithm>
#include <cstdint>

namespace dirty_seg {
namespace {

constexpr std::size_t kBytes = 3;  // that four characters encode
constexpr std::size_t kCharacters = 4;
constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string Base64(const std::vector<unsigned char>& bytes) {
  std::string text;
  text.reserve((bytes.size() + kBytes - 1) / kBytes * kCharacters);
  for (std::size_t i = 0; i < bytes.size(); i += kBytes) {
    const std::size_t count = std::min(kBytes, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < kBytes; ++k) {
      group = group << 8U | (k < count ? bytes[i + k] : 0U);
    }
    for (std::size_t k = 0; k < kCharacters; ++k) {
      text += k <= count ? kAlphabet[group >> (18U - 6U * k) & 0x3fU] : '=';
    }
  }
  return text;
}

std::optional<std::string> BytesOfBase64(std::string_view text) {
  std::vector<unsigned char> bytes;
  for (std::size_t i = 0; i < text.size(); i += kCharacters) {
    std::uint32_t group = 0;
    for (const char c : text.substr(i, kCharacters)) {
      const std::size_t value = kAlphabet.find(c);
      group = group << 6U | static_cast<std::uint32_t>(value == std::string_view::npos ? 0 : value);
    }
    for (const unsigned shift : {16U, 8U, 0U}) {
      bytes.push_back(static_cast<unsigned char>(group >> shift & 0xffU));
    }
  }
  const std::size_t padding = text.size() - (text.find_last_not_of('=') + 1);
  bytes.resize(bytes.size() - std::min({padding, bytes.size(), kBytes - 1}));
  // A text with characters outside the alphabet, or too many, does not encode back to itself.
  if (Base64(bytes) != text) return std::nullopt;
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace dirty_seg
