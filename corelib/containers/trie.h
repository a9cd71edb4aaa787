// Trie: a compact, immutable index of keys with 64-bit values, for exact and for prefix search.
//
// It is built from a Tree, which it does not refer to afterwards, and owns its memory. If an
// allocation fails, building returns FAILURE and leaves the trie empty, as far as the index library
// notices: it does not check all its allocations. A search that runs out of memory ends as if there
// were nothing more to find. One thread at a time, also for searching: a trie holds the working
// state of its look-ups.
//
// The index is a marisa trie over bytes. The key of a 16-bit trie is stored as the two bytes of
// each unit, the high one first. So order and prefixes are those of the units, and any units can be
// in a key, also zeros and lone surrogates.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/detail/trie_index.h"
#include "corelib/containers/detail/trie_key.h"
#include "corelib/containers/tree.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// What the tries of both unit widths share.
class TrieRoot {
 public:
  // How much time building may take; the slower, the smaller the index.
  enum class BldSpd { kFast, kNormal, kSlow };
};

template <Unit T>
class Trie : public TrieRoot {
 public:
  using View = BufferRef<T>;

  Trie() = default;
  Trie(Trie&& other) noexcept { swap(other); }
  Trie& operator=(Trie&& other) noexcept;
  void swap(Trie& other) noexcept;

  // Replaces the contents by those of a tree. 0 or FAILURE.
  std::uint32_t build(const Tree<T>& tree, BldSpd speed);
  void reset() { *this = Trie(); }

  std::uint32_t itemcnt() const { return item_cnt_; }
  bool is_empty() const { return item_cnt_ == 0; }

  // The value of a key, or null. The trie owns it.
  const std::uint64_t* find(View key) const;

  // Call fn(BufferRef const& key, u64& value) for every key with which `text` starts, the shortest
  // first; or for every key that starts with `prefix`, in ascending order. The value is a copy; the
  // key is valid during its call. The forms with _bk stop at the first call that returns false and
  // then return false, else true.
  template <class Fn>
  void for_each_prefix_of(View text, Fn&& fn) const {
    for_each_prefix_of_bk(text,
                          [&](View key, std::uint64_t& value) { return fn(key, value), true; });
  }
  template <class Fn>
  bool for_each_prefix_of_bk(View text, Fn&& fn) const {
    return search(detail::TrieSearch::Kind::kPrefixes, text, fn);
  }
  template <class Fn>
  void for_each_under(View prefix, Fn&& fn) const {
    for_each_under_bk(prefix, [&](View key, std::uint64_t& value) { return fn(key, value), true; });
  }
  template <class Fn>
  bool for_each_under_bk(View prefix, Fn&& fn) const {
    return search(detail::TrieSearch::Kind::kExtensions, prefix, fn);
  }

 private:
  template <class Fn>
  bool search(detail::TrieSearch::Kind kind, View text, Fn&& fn) const;

  detail::TrieIndex index_;
  Chunk arena_;
  std::uint64_t* values_ = nullptr;  // indexed by the number that the index gives a key
  std::uint32_t item_cnt_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------------

template <Unit T>
template <class Fn>
bool Trie<T>::search(detail::TrieSearch::Kind kind, View text, Fn&& fn) const {
  detail::TrieKey<T> key;
  if (is_empty() || !key.set_units(text)) return true;
  detail::TrieSearch search(index_, kind, key.bytes());
  while (search.next() && key.set_bytes(search.key())) {
    std::uint64_t value = values_[search.number()];
    if (!fn(key.units(), value)) return false;
  }
  return true;
}

extern template class Trie<unsigned char>;
extern template class Trie<unsigned short>;

}  // namespace tstl
