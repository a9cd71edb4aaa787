// KeyProbe: a key prepared for comparison with many nodes. A node lies in memory that is probably
// not cached, so as much as possible is computed before its bytes arrive. Two words of a node
// decide keys of 4 to 12 bytes, with no branch on the key's length after they are loaded.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/containers/keyed_node.h"
#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

template <Unit T>
class KeyProbe {
 public:
  // Views the key's units.
  explicit KeyProbe(BufferRef<T> key) : key_(key) {
    if (is_plain()) return;
    const auto first = base::load<Half>(bytes());
    start_ = Word{first} << 32 | key.len();
    end_ = size() >= sizeof(Word) ? base::load<Word>(bytes() + size() - sizeof(Word))
                                  : end_of_short(first);
  }

  // Whether the node has this key: the same length and the same units. Reads at least
  // kLeastKeyBytes of the node's key, even if that is shorter.
  bool matches(const KeyedNode<T>& node) const {
    if (is_plain()) return is_key_of(node);
    if (base::load<Word>(node.key_start()) != start_) return false;
    const unsigned char* const units = bytes_of(node);
    if (base::load<Word>(units + size() - sizeof(Word)) != end_) return false;
    for (std::size_t i = sizeof(Half); i + sizeof(Word) < size(); i += sizeof(Word)) {
      if (base::load<Word>(units + i) != base::load<Word>(bytes() + i)) return false;
    }
    return true;
  }

  // Whether this key is greater than that of the node.
  bool follows(const KeyedNode<T>& node) const {
    if (is_plain() || node.len() * sizeof(T) < sizeof(Half)) return is_after_key_of(node);
    const std::uint32_t rank = rank_of(base::load<Half>(bytes()));
    const std::uint32_t other = rank_of(base::load<Half>(bytes_of(node)));
    return rank != other ? rank > other : is_after_key_of(node);
  }

 private:
  using Word = std::uint64_t;
  using Half = std::uint32_t;

  const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(key_.cstr()); }
  std::size_t size() const { return key_.len() * sizeof(T); }
  static const unsigned char* bytes_of(const KeyedNode<T>& node) {
    return reinterpret_cast<const unsigned char*>(node.str());
  }

  // Whether the key is too short for the words below; it is then compared unit by unit.
  bool is_plain() const { return size() < sizeof(Half); }
  // Not inlined: they are rare, and would make the other paths save registers.
  [[gnu::noinline]] bool is_key_of(const KeyedNode<T>& node) const { return key_ == node.key(); }
  [[gnu::noinline]] bool is_after_key_of(const KeyedNode<T>& node) const {
    return key_.is_greater(node.key());
  }

  // end_ for a key of four to seven bytes: the eight bytes begin inside the key length. Built in a
  // register, because store-to-load forwarding fails when one load spans two stores.
  Word end_of_short(Half first) const {
    const std::size_t n = size();
    const Word last = base::load<Half>(bytes() + n - sizeof(Half));
    return last << 32 | Word{first} << 8 * (sizeof(Word) - n) |
           key_.len() >> 8 * (n - sizeof(Half));
  }

  // A number whose order is that of the units in these bytes.
  static std::uint32_t rank_of(Half bytes) {
    return sizeof(T) == 1 ? __builtin_bswap32(bytes) : std::rotl(bytes, 16);
  }

  BufferRef<T> key_;
  Word start_ = 0;  // the eight bytes of a node with this key from its key length on
  Word end_ = 0;    // the eight bytes that end with the key
};

}  // namespace tstl::detail
