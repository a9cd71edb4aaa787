// PairStore: the pairs of an image that is being built. Keys and values lie one after another; each
// pair has a 16-byte entry, and the entries are sorted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <type_traits>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/containers/dict/detail/cell_blocks.h"
#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Merges the values of a key that was added twice: the earlier one and the later one.
using MergeValues = std::uint64_t (*)(std::uint64_t before, std::uint64_t after);

// A value and a key, in memory and in temporary files alike. The key's units follow the structure;
// the next pair starts at the next multiple of 4 bytes.
#pragma pack(push, 4)
template <Unit T>
struct StoredPair {
  std::uint64_t value;
  std::uint16_t len;
  std::uint16_t is_wrapped;  // 1 if the key had 65,536 units or more: `len` has the low 16 bits

  const T* units() const { return reinterpret_cast<const T*>(this + 1); }
  BufferRef<T> key() const { return BufferRef<T>(units(), len); }
  static constexpr std::uint64_t size(std::uint64_t len) {
    return (sizeof(StoredPair) + len * sizeof(T) + 3) / 4 * 4;
  }
  std::uint64_t size() const { return size(len); }

  // Merges the value of a later pair with the same key into this one. Whatever the order, keys of
  // full length take precedence over wrapped ones, and of wrapped ones the least value counts.
  void merge(const StoredPair& later, MergeValues merge_values) {
    if (is_wrapped == later.is_wrapped) {
      const std::uint64_t before = value, after = later.value;
      value = is_wrapped == 0 ? merge_values(before, after) : before < after ? before : after;
    } else if (is_wrapped != 0) {
      value = later.value;
      is_wrapped = 0;
    }
  }
};
#pragma pack(pop)
static_assert(sizeof(StoredPair<unsigned char>) == 12 && alignof(StoredPair<unsigned char>) == 4);
static_assert(std::is_trivially_copyable_v<StoredPair<unsigned short>>);
template <Unit T>
inline constexpr std::uint64_t kGreatestPair = StoredPair<T>::size(0xFFFF);

// The sort key of a pair, and where the pair lies.
struct PairEntry {
  static constexpr unsigned kLenBits = 16;

  std::uint64_t
      start;  // six bytes of units as a number that orders as they do, then the key's length
  std::uint32_t crc;   // of the key; later its bucket
  std::uint32_t cell;  // of its StoredPair; later pairs have greater ones

  std::uint64_t units() const { return start >> kLenBits; }
  std::uint32_t len() const { return static_cast<std::uint16_t>(start); }
};
static_assert(sizeof(PairEntry) == 16);

template <Unit T>
class PairStore {
 public:
  using View = BufferRef<T>;
  using Pair = StoredPair<T>;

  PairStore() = default;
  PairStore(const PairStore&) = delete;
  PairStore& operator=(const PairStore&) = delete;
  ~PairStore() { reset(); }

  // Adds a pair, with a copy of the key; `crc` is crc32(key). False if an allocation fails.
  // REQUIRES: the key has at most 65,535 units; sort() was not called.
  bool add(View key, std::uint64_t value, std::uint32_t crc, bool is_wrapped);

  std::uint64_t pair_cnt() const { return cnt_; }
  // Bytes that the pairs take, with those that sort() will allocate.
  std::uint64_t memory() const { return bytes_ + 2 * cnt_ * sizeof(PairEntry); }

  // Sorts by key and merges the pairs of each key into one. False if an allocation fails.
  bool sort(MergeValues merge_values);
  // The entries in the order of keys. REQUIRES: sort() was called.
  std::span<PairEntry> sorted() const { return {sorted_, cnt_}; }
  const Pair& pair(const PairEntry& entry) const {
    return *static_cast<const Pair*>(pairs_.at(entry.cell));
  }

  // Whether most of the pairs probably have a key that was added before; estimated from a sample.
  bool has_many_repeats() const;
  // After sort(): frees the memory of merged pairs and allows add() again. False if an allocation
  // fails.
  bool compact();

  void reset();

 private:
  void swap(PairStore& other);
  const PairEntry& entry(std::uint64_t i) const {
    constexpr auto kCells = sizeof(PairEntry) / CellBlocks::kCellSize;
    return *static_cast<const PairEntry*>(entries_.at(static_cast<std::uint32_t>(i * kCells)));
  }
  void gather();
  void merge_repeats(MergeValues merge_values);

  CellBlocks pairs_;
  CellBlocks entries_;
  std::uint64_t cnt_ = 0;
  std::uint64_t bytes_ = 0;
  PairEntry* sorted_ = nullptr;
  PairEntry last_ = {};
  bool in_order_ = true;  // all keys so far were added in order
};

extern template class PairStore<unsigned char>;
extern template class PairStore<unsigned short>;

}  // namespace tstl::detail
