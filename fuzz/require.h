// How a fuzz target reports that an input violates an invariant: it ends the program.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace zenta::fuzz {

inline void Require(bool holds, const char* what = nullptr) {
  if (holds) return;
  if (what != nullptr) std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

}  // namespace zenta::fuzz
