// Bytes as text.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg {

/// Base 64 of RFC 4648, section 4, with padding and without line breaks.
std::string Base64(const std::vector<unsigned char>& bytes);

}  // namespace dirty_seg
