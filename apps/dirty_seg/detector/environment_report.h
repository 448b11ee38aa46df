// Versions, libraries, processor, threads and log settings of this program and machine.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// Sections `versions` (those given and those that libraries report), `libraries` (where each was
/// loaded from), `processor`, `threads` and `log`. `threads` is the value of --threads; it also
/// sets OpenCV's threads for the process.
nlohmann::ordered_json EnvironmentJson(const nlohmann::ordered_json& versions, int threads);

/// The same as text.
std::string EnvironmentText(const nlohmann::ordered_json& environment);

/// What a value of one of the library's three variables means to it; `value` is null where the
/// variable is not set.
std::string LogSettingText(const std::string& variable, const char* value);

}  // namespace dirty_seg
