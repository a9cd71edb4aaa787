// The exceptions that end a tool early. `main` prints their text. A Failure means that the work
// could not be done, a Refusal that it was done and the answer is no. zentactl ends with status 2
// after a Failure and with 1 after a Refusal.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace zenta::tools {

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The text is empty if standard output has said everything.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A Failure with the text "what: reason", where the reason is that of `error`, an errno value.
inline Failure SystemFailure(const std::string& what, int error = errno) {
  return Failure(what + ": " + std::generic_category().message(error));
}

}  // namespace zenta::tools
