// NamedSemaphore: a handle on a named semaphore of the system, the one lock that crosses processes.
//
// It is opened here, never created: whoever sets the system up makes it, with its initial count
// (sem_open() with O_CREAT). Every process that opens the name and waits on it keeps out the others
// until it posts; the end of a process posts nothing, so one that dies in between locks the rest
// out. The object owns the handle and closes it at its end; the semaphore lives on. One thread at a
// time opens and closes; any may wait and post.
//
// Names are the system's: "/name" is portable, 30 characters at most on macOS.
#pragma once

#include <semaphore.h>

#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl {

class NamedSemaphore {
 public:
  // What label() is while the object is open, and the name that close() unlinks.
  static constexpr char kLabel[] = "tstl_sem_semaphore_open";

  NamedSemaphore() = default;
  NamedSemaphore(const NamedSemaphore&) = delete;
  NamedSemaphore& operator=(const NamedSemaphore&) = delete;
  ~NamedSemaphore() { close(); }

  // Closes first. 0, or FAILURE and a closed object when the name is null, or no such semaphore is
  // there for this process.
  std::uint32_t open(const char* name) noexcept;

  // Closes the handle and then unlinks the semaphore named kLabel, whatever name was opened: on
  // purpose, others rely on it. The semaphore that was opened keeps its name and can be opened
  // again; nobody should name one like the label. Does nothing to a closed object.
  void close() noexcept;

  // Takes one from the count: 0, or -1 when it is zero (EAGAIN), or the object is closed.
  [[nodiscard]] int trywait() noexcept;
  // The same, but waits for the count to become positive; a signal does not end the wait. Does
  // nothing, and at once, to a closed object.
  void wait() noexcept;
  // Adds `n` to the count, one by one; not beyond the system's limit (SEM_VALUE_MAX).
  void post(std::uint32_t n) noexcept;

  // Removes a semaphore's name; who has it open keeps it. Does nothing for null, or no such name.
  static void unlink(const char* name) noexcept;

  bool is_empty() const noexcept { return handle_ == nullptr; }
  // Empty while closed.
  const Buffer<unsigned char>& label() const noexcept { return label_; }

 private:
  sem_t* handle_ = nullptr;
  Buffer<unsigned char> label_;
};

}  // namespace tstl
