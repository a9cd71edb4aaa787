// Marks memory as inaccessible for the address sanitizer, which stops a program that reads or
// writes it. Without the sanitizer both functions do nothing.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define ZENTA_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZENTA_ADDRESS_SANITIZER 1
#endif
#endif

#ifdef ZENTA_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace tstl::detail {

#ifdef ZENTA_ADDRESS_SANITIZER
inline void poison(const void* memory, std::size_t n) { __asan_poison_memory_region(memory, n); }
inline void unpoison(const void* memory, std::size_t n) {
  __asan_unpoison_memory_region(memory, n);
}
#else
inline void poison(const void*, std::size_t) {}
inline void unpoison(const void*, std::size_t) {}
#endif

}  // namespace tstl::detail
