// The random numbers that a story is drawn from (splitmix64). A seed gives the same numbers on
// every machine and in every version.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace zenta::simulate {

class Random {
 public:
  constexpr explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }
  // 0 to bound - 1. REQUIRES: bound > 0.
  std::uint64_t Below(std::uint64_t bound) { return Next() % bound; }
  bool OneIn(std::uint64_t bound) { return Below(bound) == 0; }
  template <class T>
  T OneOf(std::initializer_list<T> values) {
    return values.begin()[Below(values.size())];
  }

 private:
  std::uint64_t state_;
};

}  // namespace zenta::simulate
