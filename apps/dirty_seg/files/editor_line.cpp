#include "files/editor_line.h"

#include <fmt/format.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

// An editor takes a path for ended at its first space.
std::string FileUri(const std::string& path) {
  std::string uri = "file://";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool is_plain =
        byte < 0x80 && (std::isalnum(byte) != 0 || std::strchr("/-._~", c) != nullptr);
    uri += is_plain ? std::string(1, c) : fmt::format("%{:02X}", byte);
  }
  return uri;
}

}  // namespace

std::string EditorLine(const std::string& schema) {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  const fs::path path =
      program.parent_path() / DIRTY_SEG_BIN_TO_SCHEMAS / (schema + ".schema.json");
  if (!fs::is_regular_file(path, error)) return "";
  return "# yaml-language-server: $schema=" + FileUri(path.lexically_normal().string()) + "\n";
}

}  // namespace dirty_seg
