#include "bench/cloud/allocations.h"

#include <atomic>

namespace {
std::atomic<std::size_t> count = 0;
}  // namespace

// A program's malloc replaces the C library's in everything that it loads. glibc also offers its
// own under these names.
#if defined(__GLIBC__)
extern "C" {
void* __libc_malloc(std::size_t n);
void* __libc_calloc(std::size_t n, std::size_t size);
void* __libc_realloc(void* p, std::size_t n);

void* malloc(std::size_t n) {
  count.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(n);
}
void* calloc(std::size_t n, std::size_t size) {
  count.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(n, size);
}
void* realloc(void* p, std::size_t n) {
  count.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(p, n);
}
}
#endif

std::size_t zenta::bench::AllocationCount() { return count.load(std::memory_order_relaxed); }
