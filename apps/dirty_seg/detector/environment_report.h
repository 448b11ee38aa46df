// What the program runs on, and what it makes of it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// Sections `versions` (those given and those that the libraries tell), `libraries` (where each was
/// loaded from), `processor`, `threads` and `log`. `threads` is what --threads would say; OpenCV's
/// are set by it for the process.
nlohmann::ordered_json EnvironmentJson(const nlohmann::ordered_json& versions, int threads);

/// The same for people.
std::string EnvironmentText(const nlohmann::ordered_json& environment);

/// What a value of one of the library's three variables means to it; `value` is null where the
/// variable is not set.
std::string LogSettingText(const std::string& variable, const char* value);

}  // namespace dirty_seg
