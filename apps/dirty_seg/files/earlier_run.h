// Removes what an earlier run of detect left in its output folder.
#pragma once

#include <filesystem>
#include <string>

namespace dirty_seg {

/// Removes the files named in the folder's list (kListFile), or without a list in its
/// results.jsonl, if a run could have written them: regular files, in this folder or its labels,
/// with a name that detect uses. Everything else is kept, and so is results.jsonl. Throws
/// OutputError for one that cannot be removed.
void RemoveEarlierRun(const std::string& folder);

/// Removes a regular file; leaves a link or folder, and accepts a missing one. Throws OutputError
/// with the cause.
void RemovePlainFile(const std::filesystem::path& path);

}  // namespace dirty_seg
