// TrieIndex: a marisa trie over byte strings with an interface that does not throw. The trie
// library reports every failure by an exception, and only the .cc includes its headers.
#pragma once

#include <cstdint>
#include <memory>

#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Assigns each of n keys a number from 0 to n - 1. One thread at a time, also for find().
class TrieIndex {
 public:
  using Bytes = BufferRef<unsigned char>;

  TrieIndex();
  TrieIndex(TrieIndex&&) noexcept;
  TrieIndex& operator=(TrieIndex&&) noexcept;
  ~TrieIndex();

  // Building: add() every key once (the bytes are copied), then build(), then number_of(i) for the
  // number of the key that was added as the i-th, from 0 on. end_build() then frees the copies.
  // add() and build() return false if an allocation fails or the library's limits are exceeded; the
  // index is then unusable. With more `tries` (1 to 127) the index takes less memory, but longer to
  // build and to search.
  [[nodiscard]] bool add(Bytes key);
  [[nodiscard]] bool build(int tries);
  std::uint32_t number_of(std::uint32_t i) const;
  void end_build();

  // Whether the key is in the index; if so, `number` receives its number. False also if an
  // allocation fails.
  bool find(Bytes key, std::uint32_t& number) const;

 private:
  friend class TrieSearch;
  struct State;

  bool make_state();

  std::unique_ptr<State> state_;
};

// A search for more than one key. Views the index and the query.
class TrieSearch {
 public:
  using Bytes = BufferRef<unsigned char>;
  enum class Kind {
    kPrefixes,    // keys with which the query starts, the shortest first
    kExtensions,  // keys that start with the query, in the order of their bytes
  };

  // REQUIRES: the index was built.
  TrieSearch(const TrieIndex& index, Kind kind, Bytes query);
  ~TrieSearch();

  // Moves to the next key, at first to the first one; false if there is none or an allocation
  // fails.
  bool next();
  // The key, valid until next(), and its number. REQUIRES: next() returned true.
  Bytes key() const;
  std::uint32_t number() const;

 private:
  struct State;

  const TrieIndex& index_;
  Kind kind_;
  std::unique_ptr<State> state_;
};

}  // namespace tstl::detail
