// Calls that must not stop what comes after them.
#pragma once

#include <type_traits>
#include <utility>

namespace zenta::installer {

// The call's result, or `otherwise` if it throws: to the updater a platform call that throws is one
// that failed, and a step that was begun is always followed by those that belong to it.
template <class Call, class Result = std::invoke_result_t<Call&>>
Result AttemptOr(std::type_identity_t<Result> otherwise, Call call) noexcept {
  try {
    return call();
  } catch (...) {
    return otherwise;
  }
}

template <class Call>
void Attempt(Call call) noexcept {
  try {
    call();
  } catch (...) {
    // The failure is the result; there is nobody to tell it to.
  }
}

}  // namespace zenta::installer
