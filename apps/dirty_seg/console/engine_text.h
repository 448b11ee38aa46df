// The engine's words among what libraries write to standard error.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dirty_seg {

/// Before each line of the engine on standard error.
inline constexpr std::string_view kEngineSpeaker = "libtessmar_ai_engine: ";

/// `lines`, joined by "; ", without the engine's name before each.
std::string EngineText(const std::vector<std::string>& lines);

}  // namespace dirty_seg
