// Runs another program to its end and keeps what it says.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zenta::installer {

// What is kept of each of the two streams: their beginning. The rest is read and dropped, so that
// the program never waits for us.
inline constexpr std::size_t kMaxKeptOutput = 1 << 20;

struct ProcessOutcome {
  int spawn_error =
      0;           // errno value if the program could not be started; the rest means nothing then
  int status = 0;  // exit status; 128 and the signal's number if one ended it
  std::string output;  // the beginning of its standard output
  std::string error;   // the beginning of its standard error
};

// Starts the program `arguments[0]` (looked up in PATH without a slash in it) with nothing to read
// and this environment, and returns when it has ended and nobody holds its two streams open any
// more. Throws std::system_error if the system has no pipe left or does not tell how the
// program ended.
// REQUIRES: `arguments` is not empty.
[[nodiscard]] ProcessOutcome RunProcess(const std::vector<std::string>& arguments,
                                        const std::vector<std::string>& environment);

// The environment of this process ("NAME=value") with one variable set to another value.
[[nodiscard]] std::vector<std::string> EnvironmentWith(const std::string& name,
                                                       const std::string& value);

}  // namespace zenta::installer
