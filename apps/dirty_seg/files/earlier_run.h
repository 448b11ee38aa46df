// What an earlier run of detect left in the folder that a new one writes into.
#pragma once

#include <filesystem>
#include <string>

namespace dirty_seg {

/// Removes the files that the folder's list names (kListFile), or without a list those that its
/// results.jsonl does, as far as a run could have written them: plain files, in this folder or its
/// labels, of a name that detect gives. All else stays, and so does results.jsonl. Throws
/// OutputError for one that cannot be removed.
void RemoveEarlierRun(const std::string& folder);

/// Nothing that is a link, a folder or missing. Throws OutputError with the cause.
void RemovePlainFile(const std::filesystem::path& path);

}  // namespace dirty_seg
