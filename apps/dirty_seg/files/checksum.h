// What tells one file from another.
#pragma once

#include <string>

namespace dirty_seg {

/// SHA-256 of the file, 64 digits of 0 to 9 and a to f, as sha256sum prints it. Throws SetupError,
/// naming the file and the cause, for one that cannot be read.
std::string ChecksumOfFile(const std::string& path);

}  // namespace dirty_seg
