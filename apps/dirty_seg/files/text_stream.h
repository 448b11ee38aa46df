// Text for streams that others may read at once, standard output among them.
#pragma once

#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// Writes `text` and flushes it. Returns whether all of it went out; `errno` tells why not.
bool WriteText(const std::string& text, std::FILE* file);

/// Writes what a command is asked for to standard output. Throws SetupError, naming it by `what`,
/// where not all of it goes out.
void PrintResult(const std::string& text, const char* what, std::FILE* file = stdout);

/// Writes `json` as one line and flushes it, so that a reader sees every finished frame. Bytes that
/// are not valid UTF-8 are replaced. Throws OutputError with the cause, naming `destination`.
void WriteJsonLine(const nlohmann::ordered_json& json, const std::string& destination,
                   std::FILE* file);

}  // namespace dirty_seg
