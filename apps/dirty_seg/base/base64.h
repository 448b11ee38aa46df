// Encodes and decodes Base64.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dirty_seg {

/// Base 64 of RFC 4648, section 4, with padding and without line breaks.
std::string Base64(const std::vector<unsigned char>& bytes);

/// Decodes such a text; nothing for any other.
std::optional<std::string> BytesOfBase64(std::string_view text);

}  // namespace dirty_seg
