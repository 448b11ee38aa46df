// Memory that notices an access beyond its end.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace nuvik::test {

/// Memory between two pages that may not be touched, its end (or its start) right at one of them:
/// an access beyond it ends the process.
class FencedMemory {
 public:
  enum class Flush { kStart, kEnd };

  FencedMemory(std::size_t bytes, Flush flush) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t inner = (bytes + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    base_ = static_cast<std::uint8_t*>(
        mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED) throw std::bad_alloc();
    // QEMU's user emulation refuses to open nothing.
    if (inner > 0 && mprotect(base_ + page, inner, PROT_READ | PROT_WRITE) != 0) {
      throw std::bad_alloc();
    }
    data_ = flush == Flush::kStart ? base_ + page : base_ + page + inner - bytes;
  }
  ~FencedMemory() { munmap(base_, mapped_); }
  FencedMemory(const FencedMemory&) = delete;
  FencedMemory& operator=(const FencedMemory&) = delete;

  std::uint8_t* data() const { return data_; }

 private:
  std::uint8_t* base_ = nullptr;
  std::uint8_t* data_ = nullptr;
  std::size_t mapped_ = 0;
};

}  // namespace nuvik::test
