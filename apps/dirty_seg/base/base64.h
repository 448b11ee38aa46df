// Bytes as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dirty_seg {

/// Base 64 of RFC 4648, section 4, with padding and without line breaks.
std::string Base64(const std::vector<unsigned char>& bytes);

/// What such a text stands for; nothing for any other text.
std::optional<std::string> BytesOfBase64(std::string_view text);

}  // namespace dirty_seg
