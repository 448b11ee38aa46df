#include "files/json_text.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

// Terminals also act on the controls that JSON does not escape: U+007F to U+009F.
std::string WithoutControls(const std::string& json) {
  std::string text;
  text.reserve(json.size());
  for (std::size_t i = 0; i < json.size(); ++i) {
    const auto byte = static_cast<unsigned char>(json[i]);
    const bool has_next = byte == 0xc2 && i + 1 < json.size();
    const auto next = static_cast<unsigned char>(has_next ? json[i + 1] : '\xff');
    if (byte != 0x7f && next >= 0xa0) {
      text += json[i];
      continue;
    }
    text += fmt::format("\\u{:04x}", byte == 0x7f ? byte : next);
    if (has_next) ++i;
  }
  return text;
}

}  // namespace

std::string ToText(const ordered_json& json) {
  return WithoutControls(json.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
}

std::string ToIndentedText(const ordered_json& json) {
  return WithoutControls(json.dump(2, ' ', false, ordered_json::error_handler_t::replace)) + "\n";
}

}  // namespace dirty_seg
