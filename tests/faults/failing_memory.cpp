#include "failing_memory.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FAULTS_SANITIZED 1
#else
#define FAULTS_SANITIZED 0
#endif

// The C library's own, under the name that it keeps for those who replace posix_memalign.
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t size);

namespace faults {
namespace {

// Requests that still succeed; below 0: no failure is asked for.
thread_local long left = -1;
thread_local bool is_forever = false;
thread_local bool has_failed = false;
std::atomic<long> live_blocks{0};

bool ShallFail() {
  if (left < 0) return false;
  if (left > 0) {
    --left;
    return false;
  }
  has_failed = true;
  if (!is_forever) left = -1;
  return true;
}

void* AllocateBelow(std::size_t bytes, std::size_t alignment) {
#if FAULTS_SANITIZED
  void* block = nullptr;
  return posix_memalign(&block, alignment, bytes) == 0 ? block : nullptr;
#else
  return __libc_memalign(alignment, bytes);
#endif
}

void* Allocate(std::size_t bytes, std::size_t alignment) {
  void* const block = ShallFail() ? nullptr : AllocateBelow(bytes == 0 ? 1 : bytes, alignment);
  if (block != nullptr) ++live_blocks;
  return block;
}

void* AllocateOrThrow(std::size_t bytes, std::size_t alignment) {
  void* const block = Allocate(bytes, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void Free(void* block) {
  if (block == nullptr) return;
  --live_blocks;
  std::free(block);
}

constexpr std::size_t kUsual = sizeof(std::max_align_t);

}  // namespace

FailingMemory::FailingMemory(std::size_t n, bool forever) {
  has_failed = false;
  is_forever = forever;
  left = static_cast<long>(n) - 1;
}

FailingMemory::~FailingMemory() { left = -1; }

bool FailingMemory::HasFailed() { return has_failed; }

long LiveBlocks() { return live_blocks; }

}  // namespace faults

using faults::Allocate;
using faults::AllocateOrThrow;
using faults::Free;
using faults::kUsual;
using std::align_val_t;
using std::nothrow_t;
using std::size_t;

// Every form, so that no block comes from one side and goes to the other.
void* operator new(size_t n) { return AllocateOrThrow(n, kUsual); }
void* operator new[](size_t n) { return AllocateOrThrow(n, kUsual); }
void* operator new(size_t n, const nothrow_t&) noexcept { return Allocate(n, kUsual); }
void* operator new[](size_t n, const nothrow_t&) noexcept { return Allocate(n, kUsual); }
void* operator new(size_t n, align_val_t a) { return AllocateOrThrow(n, static_cast<size_t>(a)); }
void* operator new[](size_t n, align_val_t a) { return AllocateOrThrow(n, static_cast<size_t>(a)); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, size_t) noexcept { Free(block); }
void operator delete[](void* block, size_t) noexcept { Free(block); }
void operator delete(void* block, const nothrow_t&) noexcept { Free(block); }
void operator delete[](void* block, const nothrow_t&) noexcept { Free(block); }
void operator delete(void* block, align_val_t) noexcept { Free(block); }
void operator delete[](void* block, align_val_t) noexcept { Free(block); }
void operator delete(void* block, size_t, align_val_t) noexcept { Free(block); }
void operator delete[](void* block, size_t, align_val_t) noexcept { Free(block); }

#if !FAULTS_SANITIZED
extern "C" int posix_memalign(void** block, size_t alignment, size_t bytes) {
  *block = faults::ShallFail() ? nullptr : faults::AllocateBelow(bytes, alignment);
  return *block == nullptr ? ENOMEM : 0;
}
#endif
