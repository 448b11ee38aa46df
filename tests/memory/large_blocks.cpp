#include "large_blocks.h"

#include <execinfo.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>

// The C library's own functions, under the names that it keeps for those who replace the others.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace memory_test {
namespace {

struct Request {
  std::size_t bytes;
  std::array<void*, 12> callers;
  int depth;
};

// Fixed: recording must not itself ask for memory.
std::array<Request, 512> requests;
std::atomic<std::size_t> request_count{0};
std::atomic<bool> is_recording{false};
thread_local bool is_inside = false;

void Record(std::size_t bytes) {
  if (bytes <= kLargeBlock || is_inside || !is_recording) return;
  is_inside = true;
  const std::size_t i = request_count++;
  if (i < requests.size()) {
    Request& request = requests[i];
    request.bytes = bytes;
    request.depth = backtrace(request.callers.data(), static_cast<int>(request.callers.size()));
  }
  is_inside = false;
}

std::size_t Recorded() { return std::min(request_count.load(), requests.size()); }

}  // namespace

LargeBlocks::LargeBlocks() {
  std::array<void*, 1> warm_up{};
  backtrace(warm_up.data(), 1);  // loads a library at its first call
  request_count = 0;
  is_recording = true;
}

LargeBlocks::~LargeBlocks() { is_recording = false; }

std::vector<std::size_t> LargeBlocks::Stop() {
  is_recording = false;
  std::vector<std::size_t> sizes;
  for (std::size_t i = 0; i < Recorded(); ++i) sizes.push_back(requests[i].bytes);
  return sizes;
}

std::string LargeBlocks::Callers() {
  std::string text;
  for (std::size_t i = 0; i < Recorded(); ++i) {
    const Request& request = requests[i];
    text += std::to_string(request.bytes) + " bytes\n";
    const std::unique_ptr<char*, decltype(&std::free)> lines(
        backtrace_symbols(request.callers.data(), request.depth), std::free);
    for (int k = 2; lines != nullptr && k < request.depth; ++k) {
      text += std::string("  ") + lines.get()[k] + '\n';
    }
  }
  return text;
}

}  // namespace memory_test

using memory_test::Record;

extern "C" {

void* malloc(std::size_t size) {
  Record(size);
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  Record(count * size);
  return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  Record(size);
  return __libc_realloc(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  Record(size);
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  *block = memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}
}
