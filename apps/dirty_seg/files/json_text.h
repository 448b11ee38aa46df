// JSON as text.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// In one line. Bytes that are not valid UTF-8 are replaced; no control character is left in it.
std::string ToText(const nlohmann::ordered_json& json);

/// The same indented, for a person too, with a line break at its end.
std::string ToIndentedText(const nlohmann::ordered_json& json);

}  // namespace dirty_seg
