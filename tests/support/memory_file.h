// A file that never reaches a disk.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace nuvik::test {

/// Holds `bytes` under a path that can be opened as often as one likes while it lives.
class MemoryFile {
 public:
  MemoryFile(const void* bytes, std::size_t size) : file_(memfd_create("test", MFD_CLOEXEC)) {
    if (file_ < 0 || write(file_, bytes, size) != static_cast<ssize_t>(size)) {
      throw std::runtime_error("no file can be made in memory");
    }
  }
  explicit MemoryFile(const std::string& text) : MemoryFile(text.data(), text.size()) {}
  ~MemoryFile() { close(file_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

 private:
  int file_;
};

}  // namespace nuvik::test
