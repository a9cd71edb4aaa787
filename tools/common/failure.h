// How the tools end early: with a sentence for the person, thrown from wherever it is known and printed
// by `main`. A Failure says that the work could not be done, a Refusal that it was done and the answer
// is no; zentactl ends with status 2 after the first and with 1 after the second.
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

// The text may be empty: everything was said on standard output.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// "what: reason", the reason being that of `error`, an errno value.
inline Failure SystemFailure(const std::string& what, int error = errno) {
  return Failure(what + ": " + std::generic_category().message(error));
}

}  // namespace zenta::tools
