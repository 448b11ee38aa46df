// Lets a request for very much memory fail as it does without sanitizers: they end the process in
// operator new, which others have to survive by an exception.
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kMaxBytes = std::size_t{256} << 20U;

void* Allocate(std::size_t bytes, std::size_t alignment) {
  void* block = nullptr;
  if (bytes > kMaxBytes || posix_memalign(&block, alignment, bytes == 0 ? 1 : bytes) != 0) {
    throw std::bad_alloc();
  }
  return block;
}

}  // namespace

// Read by the address sanitizer, where there is one, for malloc and its siblings. It sees the
// blocks of the operators below as malloc's.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=256:alloc_dealloc_mismatch=0";
}

void* operator new(std::size_t bytes) { return Allocate(bytes, sizeof(std::max_align_t)); }
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*bytes*/) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*bytes*/, std::align_val_t /*alignment*/) noexcept {
  std::free(block);
}
