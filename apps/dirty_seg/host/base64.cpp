#include "host/base64.h"

#include <algorithm>
#include <cstdint>

namespace dirty_seg {
namespace {

constexpr std::size_t kBytes = 3;  // that four characters stand for
constexpr std::size_t kCharacters = 4;
constexpr const char* kAlphabet =
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

}  // namespace dirty_seg
