#include "files/checksum.h"

#include <fmt/format.h>
#include <nettle/sha2.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>

#include "base/errors.h"
#include "files/open_failure.h"

namespace dirty_seg {
namespace {

constexpr std::size_t kPiece = std::size_t{1} << 16U;  // bytes read at once

}  // namespace

std::string ChecksumOfFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) throw SetupError(fmt::format("'{}': {}", path, OpenFailure(errno)));
  sha256_ctx context{};
  nettle_sha256_init(&context);
  std::array<std::uint8_t, kPiece> piece{};
  while (file) {
    file.read(reinterpret_cast<char*>(piece.data()), piece.size());
    nettle_sha256_update(&context, static_cast<std::size_t>(file.gcount()), piece.data());
  }
  if (!file.eof()) throw SetupError(fmt::format("'{}': cannot be read to its end", path));
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
  nettle_sha256_digest(&context, digest.size(), digest.data());
  return fmt::format("{:02x}", fmt::join(digest, ""));
}

}  // namespace dirty_seg
