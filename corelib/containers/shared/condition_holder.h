// ConditionHolder: owns a condition variable of POSIX threads.
//
// The condition lives on the heap, at an address that stays until destroy(); the mutex that goes
// with it is the caller's and has to outlive it. Any thread may wait and broadcast; one makes and
// destroys, while nobody waits.
#pragma once

#include <pthread.h>

#include <cstdint>

namespace tstl {

class ConditionHolder {
 public:
  ConditionHolder() = default;
  ConditionHolder(const ConditionHolder&) = delete;
  ConditionHolder& operator=(const ConditionHolder&) = delete;
  ~ConditionHolder() { destroy(); }

  // Destroys first. Makes a condition to wait for under `mutex`. 0, or FAILURE and no condition
  // when memory is short.
  std::uint32_t create(pthread_mutex_t* mutex) noexcept;

  // Lets go of the mutex, waits for a broadcast, and takes the mutex again. May return without one,
  // as all such waits: look at what is waited for in a loop. REQUIRES: there is a condition, and
  // this thread holds its mutex.
  void wait() noexcept;

  // Wakes every waiting thread. Does nothing without a condition.
  void broadcast() noexcept;

  // Destroys the condition and frees its memory, if there is one. REQUIRES: no thread waits.
  void destroy() noexcept;

  // For waits of other kinds; null when there is none.
  pthread_cond_t* condition() const noexcept { return condition_; }

 private:
  pthread_mutex_t* mutex_ = nullptr;  // borrowed; broadcast() and destroy() do not need it
  pthread_cond_t* condition_ = nullptr;
};
static_assert(sizeof(ConditionHolder) == 2 * sizeof(void*));

}  // namespace tstl
