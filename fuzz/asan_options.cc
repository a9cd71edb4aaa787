// Defaults of the address sanitizer in a fuzz target, for speed; ASAN_OPTIONS overrides them. A
// report names only the two innermost callers of an allocation, which avoids unwinding the stack
// (ASAN_OPTIONS=malloc_context_size=30 names all). The quarantine of freed memory is small, so that
// memory is used again while it is in the processor's cache.
//
// The limit of memory, in MiB, is the sanitizer's, and `./dev fuzz` switches libFuzzer's off. That one
// is watched by a thread of its own, and when the thread starts late, on a busy machine, the search for
// leaks takes for one what the C library has just allocated for the thread.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "malloc_context_size=2:quarantine_size_mb=16:hard_rss_limit_mb=2048";
}
