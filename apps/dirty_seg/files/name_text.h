// File names, which may hold any bytes, as text.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// Puts `name` under `key`. If it is not valid UTF-8, the invalid bytes are U+FFFD there, and all
/// bytes go under `key`_bytes in Base64.
void PutName(const std::string& key, const std::string& name, nlohmann::ordered_json& json);

/// The stem of the path, made fit to begin a file name: UTF-8 without control characters, any other
/// byte as %XX, and short enough to leave room for what is appended.
std::string PlainStem(const std::string& path);

}  // namespace dirty_seg
