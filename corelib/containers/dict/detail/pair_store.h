// The pairs of an image that is being built: keys and values one behind another, and for each an entry
// of 16 bytes, by which they are sorted.
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

// The value of a key that came twice, from the value before and the one that came later.
using MergeValues = std::uint64_t (*)(std::uint64_t before, std::uint64_t after);

// A key and its value, in memory and in temporary files alike. The units follow; the next pair starts at
// the next multiple of 4 bytes.
#pragma pack(push, 4)
template <Unit T>
struct StoredPair {
  std::uint64_t value;
  std::uint16_t len;
  std::uint16_t is_wrapped;  // 1 when the key was 65,536 units or longer: `len` has the low 16 bits

  const T* units() const { return reinterpret_cast<const T*>(this + 1); }
  BufferRef<T> key() const { return BufferRef<T>(units(), len); }
  static constexpr std::uint64_t size(std::uint64_t len) {
    return (sizeof(StoredPair) + len * sizeof(T) + 3) / 4 * 4;
  }
  std::uint64_t size() const { return size(len); }

  // Takes the value of a later pair with the same key in. Keys of their full length go before wrapped
  // ones, of which only the least value counts, whatever order they came in.
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

// What a pair is sorted by.
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

  // False when memory is short. REQUIRES: the key has at most 65,535 units; sort() was not called.
  bool add(View key, std::uint64_t value, std::uint32_t crc, bool is_wrapped);

  std::uint64_t pair_cnt() const { return cnt_; }
  // Bytes that the pairs take, with what sort() needs besides.
  std::uint64_t memory() const { return bytes_ + 2 * cnt_ * sizeof(PairEntry); }

  // Sorts by key and leaves one pair of each key. False when memory is short.
  bool sort(MergeValues merge_values);
  // The entries in the order of keys. REQUIRES: sort() was called.
  std::span<PairEntry> sorted() const { return {sorted_, cnt_}; }
  const Pair& pair(const PairEntry& entry) const {
    return *static_cast<const Pair*>(pairs_.at(entry.cell));
  }

  // Whether most of the pairs probably have a key that came before. Looks at a sample of the keys.
  bool has_many_repeats() const;
  // After sort(): lets go of the memory of what was merged, so that add() goes on. False when memory is
  // short.
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
  bool in_order_ = true;  // so far keys came in order
};

extern template class PairStore<unsigned char>;
extern template class PairStore<unsigned short>;

}  // namespace tstl::detail
