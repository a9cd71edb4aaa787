// PairFaults: counts of what the reader of a key-value file found that was not a complete pair.
// None of it stops the reading. A high count suggests that the file was read with the wrong
// separator.
#pragma once

#include <cstdint>

namespace tstl {

struct PairFaults {
  std::uint64_t no_separator = 0;  // lines read as a key alone, with value 0
  std::uint64_t no_number = 0;     // values that are empty or not all decimal digits
  std::uint64_t not_fit = 0;       // values beyond 64 bits, replaced by the nearest that fits

  [[nodiscard]] std::uint64_t sum() const { return no_separator + no_number + not_fit; }
};

}  // namespace tstl
