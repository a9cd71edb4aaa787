// How the tools fail: a sentence for the person, thrown from wherever it is known and printed by
// `main`, which ends the program with status 1. No tool goes on after one.
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

// "what: reason", the reason being that of `error`, an errno value.
inline Failure SystemFailure(const std::string& what, int error = errno) {
  return Failure(what + ": " + std::generic_category().message(error));
}

}  // namespace zenta::tools
