// Names of classes, from a file beside the network.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace dirty_seg {

/// The largest id of a class that options and files of names take.
inline constexpr std::int32_t kMaxClassId = 1000000;

/// Reads class id to name from the file at `path`: YAML with a mapping of ids to names, a list of
/// names, or a key `names` with one of these, as descriptions of data sets have; or else a text
/// with a name a line, the first that of class 0. A file that ends in .yaml, .yml or .json is YAML.
///
/// Throws SetupError, naming file and line: it cannot be opened; it is not such a file; an id is
/// not a whole number from 0 to kMaxClassId, or there twice; a name is missing, empty or not UTF-8.
std::map<std::int32_t, std::string> ReadClassNames(const std::string& path);

}  // namespace dirty_seg
