// A marisa trie over byte strings, behind an interface that does not throw: the library reports
// everything by exceptions, and its headers stay out of ours.
#pragma once

#include <cstdint>
#include <memory>

#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Gives each of n keys a number from 0 to n - 1. One thread at a time, also for find.
class TrieIndex {
 public:
  using Bytes = BufferRef<unsigned char>;

  TrieIndex();
  TrieIndex(TrieIndex&&) noexcept;
  TrieIndex& operator=(TrieIndex&&) noexcept;
  ~TrieIndex();

  // Building: add() every key once (the bytes are copied), then build(), then ask for the number of
  // each key, counted from 0 in the order in which they came; end_build() gives back what that
  // took. add() and build() return false when memory is short; the index is of no use then. With
  // more `tries` (1 to 127) the index takes longer to build and to search, and less memory.
  [[nodiscard]] bool add(Bytes key);
  [[nodiscard]] bool build(int tries);
  std::uint32_t number_of(std::uint32_t i) const;
  void end_build();

  // Whether there is such a key, and its number.
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

  // Goes to the next key; false when there is none, or no memory to find it.
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
