#include "corelib/containers/shared/condition_holder.h"

#include <cassert>
#include <new>

#include "corelib/base/types.h"

namespace tstl {

std::uint32_t ConditionHolder::create(pthread_mutex_t* mutex) noexcept {
  assert(mutex != nullptr);
  destroy();
  auto* const condition = new (std::nothrow) pthread_cond_t;
  if (condition == nullptr || ::pthread_cond_init(condition, nullptr) != 0) {
    delete condition;
    return FAILURE;
  }
  mutex_ = mutex;
  condition_ = condition;
  return 0;
}

void ConditionHolder::wait() noexcept {
  assert(condition_ != nullptr);
  ::pthread_cond_wait(condition_, mutex_);
}

void ConditionHolder::broadcast() noexcept {
  if (condition_ != nullptr) ::pthread_cond_broadcast(condition_);
}

void ConditionHolder::destroy() noexcept {
  if (condition_ == nullptr) return;
  ::pthread_cond_destroy(condition_);
  delete condition_;
  condition_ = nullptr;
}

}  // namespace tstl
