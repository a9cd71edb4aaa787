// The keyed node: a 64-bit value, a key's length and the key's units, in one allocation of an
// arena. It is the element of the list, and every other keyed node ends with it.
//
// The arena owns nodes; they are never freed one by one and never move. A node is packed, so no
// reference to its fields may exist: functions read and store its value.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/containers/chunk.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

//   offset 0, 8 bytes: value
//          8, 4 bytes: key length in units
//         12:          the key's units, a zero unit, zero bytes up to the next multiple of 4
#pragma pack(push, 4)
template <Unit T>
class KeyedNode {
 public:
  using unit_type = T;

  std::uint64_t value() const { return value_; }
  void set_value(std::uint64_t value) { value_ = value; }

  // The key as recorded. A zero unit follows it (for a key that is longer than its recorded length:
  // follows the whole key).
  BufferRef<T> key() const { return BufferRef<T>(str(), len_); }
  const T* str() const { return reinterpret_cast<const T*>(this + 1); }
  std::uint32_t len() const { return len_; }

  // The eight bytes from the key length on, which every node has.
  const void* key_start() const { return &len_; }

  // Copies all units of `key` and records `len` as their number. REQUIRES: alloc_node() has just
  // made the node for a key of this length.
  void init_key(BufferRef<T> key, std::uint32_t len) {
    len_ = len;
    base::copy_varied(this + 1, key.cstr(), key.len() * sizeof(T));
  }

 private:
  std::uint64_t value_ = 0;
  std::uint32_t len_ = 0;
};
#pragma pack(pop)
static_assert(sizeof(KeyedNode<unsigned char>) == 12 && sizeof(KeyedNode<unsigned short>) == 12);
static_assert(std::is_trivially_copyable_v<KeyedNode<unsigned short>>);

// The length that lists and hash tables record for a key: its low 16 bits, on purpose. A key of
// 65536 units or more is copied whole, but then counts as its first (length modulo 65536) units: a
// key of 70000 units is listed with 4464, and a search for it finds nothing. A caller with keys of
// unknown length should refuse the long ones first.
constexpr std::uint32_t recorded_len(std::uint32_t len) { return len & 0xFFFF; }

namespace detail {

// Comparisons read this many bytes after a node's header, however short its key is.
inline constexpr std::uint64_t kLeastKeyBytes = 4;

// Allocates a Node with space for `key` after it; does not set the key. Null if the allocation
// fails.
template <class Node, Unit T>
Node* alloc_node(Chunk& arena, BufferRef<T> key) {
  static_assert(alignof(Node) <= 4 && sizeof(Node) % alignof(T) == 0);
  const std::uint64_t units = (key.len() + std::uint64_t{1}) * sizeof(T);
  void* const place = arena.alloc(sizeof(Node) + std::max(units, kLeastKeyBytes));
  return place == nullptr ? nullptr : new (place) Node;
}

}  // namespace detail
}  // namespace tstl
