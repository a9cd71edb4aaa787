#include "corelib/containers/shared/named_semaphore.h"

#include <cerrno>

#include "corelib/base/types.h"

namespace tstl {

std::uint32_t NamedSemaphore::open(const char* name) noexcept {
  close();
  if (name == nullptr) return FAILURE;
  sem_t* handle;
  do {
    handle = ::sem_open(name, 0, 0777, 0);
  } while (handle == SEM_FAILED && errno == EINTR);
  if (handle == SEM_FAILED) return FAILURE;
  handle_ = handle;
  // Refers to the constant: the allocation of a copy could fail, and close() would then do nothing.
  label_.set_data_const(reinterpret_cast<const unsigned char*>(kLabel), sizeof kLabel - 1);
  return 0;
}

void NamedSemaphore::close() noexcept {
  if (label_.is_empty()) return;
  ::sem_close(handle_);
  handle_ = nullptr;
  unlink(kLabel);  // not the name that was opened, on purpose
  label_.reset();
}

int NamedSemaphore::trywait() noexcept { return is_empty() ? -1 : ::sem_trywait(handle_); }

void NamedSemaphore::wait() noexcept {
  if (is_empty()) return;
  while (::sem_wait(handle_) != 0 && errno == EINTR) {
  }
}

void NamedSemaphore::post(std::uint32_t n) noexcept {
  if (is_empty()) return;
  while (n != 0 && ::sem_post(handle_) == 0) --n;
}

void NamedSemaphore::unlink(const char* name) noexcept {
  if (name != nullptr) ::sem_unlink(name);
}

}  // namespace tstl
