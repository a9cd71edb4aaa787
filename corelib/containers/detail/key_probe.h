// KeyProbe: a key made ready for comparison with many nodes. A node keeps the length of its key and
// then the key, so eight bytes of it, compared at once, rule out nearly every other key, without a
// look at the rest.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "corelib/containers/detail/load.h"
#include "corelib/containers/keyed_node.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/types.h"

namespace tstl::detail {

template <Unit T>
class KeyProbe {
 public:
  // Views the key's units.
  explicit KeyProbe(BufferRef<T> key) : key_(key), start_{key.len(), first_units(key)} {}

  // Whether the node has this key: the same length and the same units.
  bool matches(const KeyedNode<T>& node) const {
    if (std::bit_cast<std::uint64_t>(start_of(node)) == std::bit_cast<std::uint64_t>(start_)) {
      return same_bytes(bytes(node.str()), bytes(key_.cstr()), key_.len() * sizeof(T));
    }
    return key_.len() < kFirstUnits && key_ == node.key();
  }

  // Whether this key orders after that of the node.
  bool follows(const KeyedNode<T>& node) const {
    if (node.len() < kFirstUnits) return key_.is_greater(node.key());
    const std::uint32_t rank = rank_of(start_.first);
    const std::uint32_t other = rank_of(start_of(node).first);
    return rank != other ? rank > other : key_.is_greater(node.key());
  }

 private:
  // A node from its key length on. The memory behind a shorter key is zero, unless that was recorded
  // shorter than it is.
  struct Start {
    std::uint32_t len;
    std::uint32_t first;  // the bytes of the first units, as they lie in memory
  };
  static constexpr std::uint32_t kFirstUnits = 4 / sizeof(T);

  static const unsigned char* bytes(const T* units) {
    return reinterpret_cast<const unsigned char*>(units);
  }

  static std::uint32_t first_units(BufferRef<T> key) {
    if (key.len() >= kFirstUnits) return load<std::uint32_t>(key.cstr());
    T units[kFirstUnits] = {};
    std::copy(key.begin(), key.end(), units);
    return load<std::uint32_t>(units);
  }

  static Start start_of(const KeyedNode<T>& node) { return load<Start>(node.key_start()); }

  // A number that orders as the units do.
  static std::uint32_t rank_of(std::uint32_t first) {
    std::uint32_t rank = 0;
    for (const T unit : std::bit_cast<std::array<T, kFirstUnits>>(first)) {
      rank = static_cast<std::uint32_t>(std::uint64_t{rank} << 8 * sizeof(T)) | unit;
    }
    return rank;
  }

  BufferRef<T> key_;
  Start start_;
};

}  // namespace tstl::detail
