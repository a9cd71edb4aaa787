// NamedSemaphore: a handle to a POSIX named semaphore, the library's only lock between processes.
//
// The semaphore is opened here, never created: whoever sets the system up creates it with its
// initial count (sem_open() with O_CREAT). With a count of 1, a process that waits on it excludes
// the others until it posts. The end of a process posts nothing, so one that dies in between leaves
// the others waiting. The object owns the handle and closes it in its destructor; the semaphore
// persists. One thread at a time opens and closes; any may wait and post.
//
// The form of names is the system's: "/name" is portable, at most 30 characters on macOS.
#pragma once

#include <semaphore.h>

#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl {

class NamedSemaphore {
 public:
  // The value of label() while the object is open, and the name that close() unlinks.
  static constexpr char kLabel[] = "tstl_sem_semaphore_open";

  NamedSemaphore() = default;
  NamedSemaphore(const NamedSemaphore&) = delete;
  NamedSemaphore& operator=(const NamedSemaphore&) = delete;
  ~NamedSemaphore() { close(); }

  // Closes first. 0, or FAILURE and a closed object if the name is null, or no such semaphore
  // exists or this process may not open it.
  std::uint32_t open(const char* name) noexcept;

  // Closes the handle and then unlinks the semaphore named kLabel, whatever name was opened. This
  // is on purpose: others rely on it. The semaphore that was opened keeps its name and can be
  // opened again; no semaphore should have the label as its name. Does nothing to a closed object.
  void close() noexcept;

  // Decrements the count: 0; or -1 if the count is zero (errno is EAGAIN) or the object is closed.
  [[nodiscard]] int trywait() noexcept;
  // The same, but waits for the count to become positive; a signal does not end the wait. Returns
  // at once if the object is closed.
  void wait() noexcept;
  // Adds `n` to the count, one by one, up to the system's limit (SEM_VALUE_MAX).
  void post(std::uint32_t n) noexcept;

  // Removes a semaphore's name; processes that have it open keep it. Does nothing for null or if
  // there is no such name.
  static void unlink(const char* name) noexcept;

  bool is_empty() const noexcept { return handle_ == nullptr; }
  // Empty while closed.
  const Buffer<unsigned char>& label() const noexcept { return label_; }

 private:
  sem_t* handle_ = nullptr;
  Buffer<unsigned char> label_;
};

}  // namespace tstl
