// The address sanitizer's defaults in a fuzz target, for speed; ASAN_OPTIONS goes before them. Of an
// allocation a report names the two innermost calls, which takes no walk up the stack
// (ASAN_OPTIONS=malloc_context_size=30 names all). Freed memory is kept back for less long, so that
// it is used again while it is in the processor's cache.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "malloc_context_size=2:quarantine_size_mb=16";
}
