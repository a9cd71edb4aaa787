#include "corelib/containers/shared/diagnostic.h"

#include <pthread.h>

#include <cstdio>
#include <cstring>

#include "corelib/containers/shared/named_semaphore.h"
#include "corelib/text/buffer.h"

namespace tstl {
namespace {

// pthread_t is a number on some systems and a pointer on others.
std::uint64_t thread_id() {
  const pthread_t self = ::pthread_self();
  std::uintptr_t id;
  static_assert(sizeof self == sizeof id);
  std::memcpy(&id, &self, sizeof id);
  return id;
}

// The calling thread's own, so that threads need no lock to fill it.
Buffer<unsigned char>& thread_output() {
  static thread_local Buffer<unsigned char> output;
  return output;
}

void flush(Buffer<unsigned char>& output) {
  if (!output.is_empty()) std::fwrite(output.cstr(), 1, output.len(), stdout);
  std::fflush(stdout);
  output.clear();
}

}  // namespace

std::uint32_t print_thread_id() noexcept {
  NamedSemaphore semaphore;
  const bool opened = semaphore.open(kDiagnosticSemaphore) == 0;
  if (opened) semaphore.wait();
  flush(thread_output().append_str("ThreadID: ").append_num(thread_id()).append_chr('\n'));
  if (opened) semaphore.post(1);
  return 0;
}

}  // namespace tstl
