// Calls whose failure must not stop the calls after them.
#pragma once

#include <type_traits>
#include <utility>

namespace zenta::installer {

// The call's result, or `otherwise` if it throws. To the updater, a platform call that throws has
// failed like one that returns its failure result, and the steps that have to follow still run.
template <class Call, class Result = std::invoke_result_t<Call&>>
Result AttemptOr(std::type_identity_t<Result> otherwise, Call call) noexcept {
  try {
    return call();
  } catch (...) {
    return otherwise;
  }
}

// Makes the call and ignores what it throws.
template <class Call>
void Attempt(Call call) noexcept {
  try {
    call();
  } catch (...) {
    // Nothing can be done about the failure, and nothing reads it.
  }
}

}  // namespace zenta::installer
