// The contents of a keyed container as standard library types, in the container's order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {

template <class T>
using Pairs = std::vector<std::pair<StdString<T>, std::uint64_t>>;

template <class T>
Pairs<T> Contents(const auto& container) {
  Pairs<T> pairs;
  container.for_each([&](const BufferRef<T>& key, std::uint64_t& value) {
    pairs.emplace_back(key.std_view(), value);
  });
  return pairs;
}

template <class T>
Pairs<T> Sorted(Pairs<T> pairs) {
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

}  // namespace tstl
