// Writes text to streams such as standard output, flushed at once.
#pragma once

#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace dirty_seg {

/// Writes `text` and flushes it. Returns whether all of it was written; if not, `errno` has the
/// cause.
bool WriteText(const std::string& text, std::FILE* file);

/// Writes the result of a command to standard output. Throws SetupError, naming it by `what`, if
/// not all of it can be written.
void PrintResult(const std::string& text, const char* what, std::FILE* file = stdout);

/// Writes `json` as one line and flushes it, so that a reader sees every finished frame. Bytes that
/// are not valid UTF-8 are replaced. Throws OutputError with the cause, naming `destination`.
void WriteJsonLine(const nlohmann::ordered_json& json, const std::string& destination,
                   std::FILE* file);

}  // namespace dirty_seg
