// Characters in bytes that may be UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace dirty_seg {

/// Bytes of the character that the text, which is not empty, begins with; 0 where that is not
/// UTF-8.
std::size_t CharacterLength(std::string_view text);

bool IsUtf8(std::string_view text);

/// Whether the character, which is UTF-8, is one of U+0000 to U+001F or U+007F to U+009F, which
/// terminals act on.
bool IsControl(std::string_view character);

}  // namespace dirty_seg
