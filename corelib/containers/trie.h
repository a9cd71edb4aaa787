// Trie: a compact, unchanging index of keys with 64-bit values, for exact and for prefix search.
//
// It is built from a Tree, of which it keeps nothing, and owns its memory. Building reports FAILURE
// and leaves the trie empty when memory is short, as far as the index library below notices: it
// does not look at the outcome of all its allocations. A search that runs out of memory ends as if
// there were nothing more to find. One thread at a time, also for searching: a trie keeps what a
// look-up works with.
//
// The index is a marisa trie over bytes; the key of a 16-bit trie is entered as the two bytes of
// each unit, the high one first, so that order and prefixes are those of the units and any units,
// zeros and lone surrogates among them, are keys.
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
  // How much time building may take, in exchange for a smaller index.
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

  // The value of a key, which is part of the trie, or null.
  const std::uint64_t* find(View key) const;

  // Call fn(BufferRef const& key, u64& value), the value being a copy, for every key with which
  // `text` starts, the shortest first; and for every key that starts with `prefix`, in ascending
  // order. A key is valid during its call. The forms with _bk stop at the first call that returns
  // false and return false then, else true.
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
  std::uint64_t* values_ = nullptr;  // by the number that the index gives a key
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
