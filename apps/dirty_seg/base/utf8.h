// Validation of UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace dirty_seg {

/// Length in bytes of the first character of `text`, which is not empty; 0 if it is not valid
/// UTF-8.
std::size_t CharacterLength(std::string_view text);

bool IsUtf8(std::string_view text);

/// Whether the character, which is valid UTF-8, is one of U+0000 to U+001F or U+007F to U+009F,
/// which terminals act on.
bool IsControl(std::string_view character);

}  // namespace dirty_seg
