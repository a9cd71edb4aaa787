// ConditionHolder: owns a condition variable of POSIX threads.
//
// The condition lives on the heap, so its address is stable until destroy(). The mutex that goes
// with it is the caller's and must outlive it. Any thread may wait and broadcast; one thread at a
// time creates and destroys, while no thread waits.
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

  // Destroys the present condition and creates one to wait for under `mutex`. 0, or FAILURE and no
  // condition if an allocation fails or the system refuses.
  std::uint32_t create(pthread_mutex_t* mutex) noexcept;

  // Releases the mutex, waits for a broadcast, and locks the mutex again. Spurious wakeups occur,
  // so call it in a loop that tests the predicate. REQUIRES: there is a condition, and this thread
  // holds its mutex.
  void wait() noexcept;

  // Wakes every waiting thread. Does nothing without a condition.
  void broadcast() noexcept;

  // Destroys the condition and frees its memory, if there is one. REQUIRES: no thread waits.
  void destroy() noexcept;

  // For other calls, such as a timed wait; null if there is no condition.
  pthread_cond_t* condition() const noexcept { return condition_; }

 private:
  pthread_mutex_t* mutex_ = nullptr;  // borrowed; broadcast() and destroy() do not need it
  pthread_cond_t* condition_ = nullptr;
};
static_assert(sizeof(ConditionHolder) == 2 * sizeof(void*));

}  // namespace tstl
