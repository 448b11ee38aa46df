// What the system says of this process.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace nuvik::test {

inline std::size_t CountEntries(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// This one's included.
inline std::size_t ThreadCount() {
#ifdef __SANITIZE_THREAD__
  // It starts a thread of its own together with the first one that the process starts.
  [[maybe_unused]] static const bool has_started = [] {
    std::thread([] {}).join();
    return true;
  }();
#endif
  return CountEntries("/proc/self/task");
}

/// Waits, for ten seconds at most: a thread that has been joined is listed until the system has
/// released it. Returns whether there came to be as many.
inline bool ThreadCountBecomes(std::size_t count) {
  for (int i = 0; i < 1000 && ThreadCount() != count; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return ThreadCount() == count;
}

inline std::size_t OpenFiles() { return CountEntries("/proc/self/fd"); }

/// Kilobytes of memory that the process holds.
inline long ResidentKilobytes() {
  std::ifstream file("/proc/self/statm");
  long total = 0;
  long resident = 0;
  file >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// Lets the process's addresses grow by no more than that many MiB from now on. Returns whether the
/// system agreed. Not under a sanitizer, whose own memory is beyond any limit.
inline bool LeaveRoomFor(rlim_t mebibytes) {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t room = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (mebibytes << 20U);
  const rlimit limit{room, room};
  return setrlimit(RLIMIT_AS, &limit) == 0;
}

}  // namespace nuvik::test
