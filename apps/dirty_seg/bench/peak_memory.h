// What a piece of work needs of the memory.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace dirty_seg {

/// Does `work` in a process of its own, whose output is thrown away, and returns the most memory in
/// bytes that was resident there, that of the program itself included. Nothing when the work threw
/// or was ended. The peak of one process cannot be told apart by what was done in it; hence another
/// for each measurement. Call it before this process has started a thread.
std::optional<std::int64_t> PeakMemoryOf(const std::function<void()>& work);

}  // namespace dirty_seg
