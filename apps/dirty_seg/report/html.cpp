#include "report/html.h"

#include <nlohmann/json.hpp>

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

std::string Dump(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace

std::string EscapeHtml(const std::string& text) {
  const std::string clean = ordered_json::parse(Dump(text)).get<std::string>();
  std::string escaped;
  for (const char c : clean) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string JsonForScript(const ordered_json& json) {
  std::string escaped;
  // Outside of its strings, JSON has no '<'.
  for (const char c : Dump(json)) {
    if (c == '<') {
      escaped += "\\u003c";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

}  // namespace dirty_seg
