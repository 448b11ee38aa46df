// Text of any origin in an HTML page.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// `text` as an element's content or within a quoted attribute: nothing in it can begin or end
/// markup. Bytes that are not valid UTF-8 are replaced.
std::string EscapeHtml(const std::string& text);

/// `json` as the content of a <script> of data: nothing in it can end the element. Bytes that are
/// not valid UTF-8 are replaced.
std::string JsonForScript(const nlohmann::ordered_json& json);

}  // namespace dirty_seg
