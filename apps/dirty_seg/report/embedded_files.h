// Files embedded in the program: the report's page and its parts.
#pragma once

#include <string_view>

namespace dirty_seg {

/// The file's bytes. Throws std::out_of_range for a name that the build does not know.
std::string_view EmbeddedFile(std::string_view name);

}  // namespace dirty_seg
