#include "files/name_text.h"

#include <fmt/format.h>

#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>

#include "base/base64.h"
#include "base/utf8.h"

namespace dirty_seg {
namespace {

// Of the 255 bytes that a file name may have.
constexpr std::size_t kMaxStem = 180;

std::string Escaped(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) text += fmt::format("%{:02X}", static_cast<unsigned char>(c));
  return text;
}

}  // namespace

void PutName(const std::string& key, const std::string& name, nlohmann::ordered_json& json) {
  json[key] = name;
  if (!IsUtf8(name)) json[key + "_bytes"] = Base64({name.begin(), name.end()});
}

std::string PlainStem(const std::string& path) {
  const std::string stem = std::filesystem::path(path).stem().string();
  std::string plain;
  for (std::string_view rest = stem; !rest.empty();) {
    const std::size_t length = CharacterLength(rest);
    const std::string_view character = rest.substr(0, length == 0 ? 1 : length);
    const bool is_plain = length > 0 && !IsControl(character);
    const std::string next = is_plain ? std::string(character) : Escaped(character);
    if (plain.size() + next.size() > kMaxStem) break;
    plain += next;
    rest.remove_prefix(character.size());
  }
  return plain;
}

}  // namespace dirty_seg
