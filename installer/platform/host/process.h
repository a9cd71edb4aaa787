// Runs another program to its end and captures its output.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zenta::installer {

// The number of bytes that are kept from the beginning of each stream. The rest is read and
// discarded, so that the program never blocks.
inline constexpr std::size_t kMaxKeptOutput = 1 << 20;

struct ProcessOutcome {
  int spawn_error =
      0;           // errno value if the program could not be started; the rest means nothing then
  int status = 0;  // exit status; 128 and the signal's number if one ended it
  std::string output;  // the beginning of its standard output
  std::string error;   // the beginning of its standard error
};

// Starts the program `arguments[0]` (searched in PATH if it has no slash) with empty standard input
// and this environment. Returns when it has ended and no process holds its two streams open any
// more. Throws std::system_error if no pipe can be made or the exit status is lost.
// REQUIRES: `arguments` is not empty.
[[nodiscard]] ProcessOutcome RunProcess(const std::vector<std::string>& arguments,
                                        const std::vector<std::string>& environment);

// The environment of this process ("NAME=value") with one variable set to another value.
[[nodiscard]] std::vector<std::string> EnvironmentWith(const std::string& name,
                                                       const std::string& value);

}  // namespace zenta::installer
