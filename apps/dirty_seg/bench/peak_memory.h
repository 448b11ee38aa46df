// Peak memory of a piece of work.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace dirty_seg {

/// Runs `work` in a child process, whose output is discarded, and returns the peak of its resident
/// memory in bytes, the program itself included. Nothing if the work threw or was killed. A process
/// has one peak for all that it does; hence a new one for each measurement. Call it before this
/// process has started a thread.
std::optional<std::int64_t> PeakMemoryOf(const std::function<void()>& work);

}  // namespace dirty_seg
