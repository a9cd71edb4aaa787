// PairFaults: what the reader of a key-value file met that is no whole pair. Nothing here stops the
// reading; a great count tells a file that was read with the wrong separator.
#pragma once

#include <cstdint>

namespace tstl {

struct PairFaults {
  std::uint64_t no_separator = 0;  // lines that were taken for a key alone, with value 0
  std::uint64_t no_number = 0;     // values that are empty, or not decimal digits from end to end
  std::uint64_t not_fit = 0;       // values beyond 64 bits, which became the nearest that fits

  [[nodiscard]] std::uint64_t sum() const { return no_separator + no_number + not_fit; }
};

}  // namespace tstl
