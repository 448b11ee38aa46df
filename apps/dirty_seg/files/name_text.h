// Names of files, which may be of any bytes, as text.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// Puts `name` under `key`, and where it is not UTF-8, its bytes in Base64 under `key`_bytes: of
/// those that are none, the text itself has U+FFFD in their place.
void PutName(const std::string& key, const std::string& name, nlohmann::ordered_json& json);

/// The stem of the path as a file's name may begin anywhere: UTF-8 without control characters, each
/// byte of others as %XX, and of a length that leaves room for what goes behind it.
std::string PlainStem(const std::string& path);

}  // namespace dirty_seg
