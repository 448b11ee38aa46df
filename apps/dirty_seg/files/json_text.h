// JSON as text without control characters.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// On one line. Bytes that are not valid UTF-8 are replaced; control characters are escaped.
std::string ToText(const nlohmann::ordered_json& json);

/// The same, indented for people, and ending in a line break.
std::string ToIndentedText(const nlohmann::ordered_json& json);

}  // namespace dirty_seg
